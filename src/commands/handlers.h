// The handlers that are more than a common shape, by topic. Each fills the answer of its command; see
// answer.h. They run on the response thread, one at a time.
#pragma once

#include "commands/answer.h"

namespace plug {

// status_commands.cpp: the router as a whole, its WANs, LAN ports and flows
void DeviceInformation(ByteReader& parameters, Answer& answer);
void LanPortFlows(ByteReader& parameters, Answer& answer);
void LinkStatus(ByteReader& parameters, Answer& answer);
void FlowRates(ByteReader& parameters, Answer& answer);
void GetDns(ByteReader& parameters, Answer& answer);
void SetDns(ByteReader& parameters, Answer& answer);
void SetRouterName(ByteReader& parameters, Answer& answer);
void RouterPin(ByteReader& parameters, Answer& answer);
void FixedStatus(ByteReader& parameters, Answer& answer);

// wifi_commands.cpp
void WlanList(ByteReader& parameters, Answer& answer);
void GetSsid(ByteReader& parameters, Answer& answer);
void SetSsid(ByteReader& parameters, Answer& answer);

// service_commands.cpp: the FTP, Samba and Telnet services
void GetServiceSwitches(ByteReader& parameters, Answer& answer);
void SetServiceSwitches(ByteReader& parameters, Answer& answer);
void GetServiceAccounts(ByteReader& parameters, Answer& answer);
void SetServiceAccounts(ByteReader& parameters, Answer& answer);

// device_commands.cpp: the devices behind the router; call them under SubdevMutex
void SetDeviceAccess(ByteReader& parameters, Answer& answer);
void DeviceBandwidth(ByteReader& parameters, Answer& answer);
void GetDeviceLimits(ByteReader& parameters, Answer& answer);
void SetDeviceLimits(ByteReader& parameters, Answer& answer);
void GetDeviceName(ByteReader& parameters, Answer& answer);
void SetDeviceName(ByteReader& parameters, Answer& answer);
void GetDevice(ByteReader& parameters, Answer& answer);
void DeviceSpeeds(ByteReader& parameters, Answer& answer);

}  // namespace plug
