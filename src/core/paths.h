// Every fixed path of the agent.
#pragma once

namespace plug {

constexpr char kDefaultProfilePath[] = "/tmp/plug.conf";
constexpr char kLocalProfilePath[] = "./plug.conf";
constexpr char kStatusPath[] = "/tmp/plugstatus";

}  // namespace plug
