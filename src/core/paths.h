// Every fixed path of the agent.
#pragma once

namespace plug {

constexpr char kDefaultProfilePath[] = "/tmp/plug.conf";
constexpr char kLocalProfilePath[] = "./plug.conf";
constexpr char kStatusPath[] = "/tmp/plugstatus";
constexpr char kCommServerPath[] = "/tmp/CommServer";
constexpr char kArpFilePath[] = "/tmp/tmpSubdev";       // the ARP lines of one scan
constexpr char kMacListPath[] = "/tmp/macconfig";       // the MACs that function 39 has reported
constexpr char kDownloadPath[] = "/tmp/plug_download";  // what the supervisor installs after status 004
constexpr char kTraceroutePath[] = "/tmp/tracerouteFile";

}  // namespace plug
