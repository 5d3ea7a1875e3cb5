// What a platform does about the devices behind a router: scans, limits, access windows.
#pragma once

#include "bench/dialog.h"

namespace plug::bench {

class DeviceCommands {
  public:
    explicit DeviceCommands(Dialog& dialog);

    /// The access windows that were set here: [{"mac", "days", "start", "stop"}].
    const Json& windows() const { return windows_; }

  private:
    void Scan(const Invocation& words);
    void SetLimit(const Invocation& words);
    void SetWindow(const Invocation& words);
    void SendWindow(bool add, const Json& window);

    Dialog& dialog_;
    Json windows_ = Json::array();  // that were set here
};

}  // namespace plug::bench
