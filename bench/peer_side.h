// The local peer's side of console and scripts: its connection, its answers, its reports and its mischief.
#pragma once

#include <memory>

#include "bench/interpreter.h"
#include "bench/local_peer.h"

namespace plug::bench {

class PeerSide {
  public:
    /// Registers its commands with the interpreter, each name behind `prefix` ("peer", or empty when the peer
    /// is the only side). The socket is looked for at `options.path`.
    PeerSide(Interpreter& interpreter, const PeerOptions& options, const std::string& prefix);

    LocalPeer& peer() { return peer_; }

  private:
    using Action = std::function<void(const Invocation&)>;

    void Add(const std::string& name, const std::string& usage, const std::string& help, std::size_t at_least,
             Action run, std::vector<std::string> completions = {}, const char* topic = "peer");
    void AddConnection();
    void AddAnswers();
    void AddReports();
    void AddMischief();
    void AddWaits();

    void Start(const Invocation& words);
    void Answer(const Invocation& words);
    void Report(const Invocation& words);
    void Devices(const Invocation& words);
    void SecondClient();
    void WaitFor(PeerEventKind kind, const Invocation& words);
    void ShowNews();
    void ShowEvent(const PeerEvent& event);
    void Require(bool sent) const;

    Interpreter& interpreter_;
    Output& output_;
    const PeerOptions options_;
    const std::string prefix_;
    LocalPeer peer_;
    CursorOf<PeerEvent> shown_;
};

}  // namespace plug::bench
