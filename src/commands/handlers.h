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

// device_commands.cpp: the devices behind the router
void SetAccess(ByteReader& parameters, Answer& answer);
void DeviceBandwidth(ByteReader& parameters, Answer& answer);
void GetDeviceLimits(ByteReader& parameters, Answer& answer);
void SetDeviceLimits(ByteReader& parameters, Answer& answer);
void GetDeviceName(ByteReader& parameters, Answer& answer);
void SetDeviceName(ByteReader& parameters, Answer& answer);
void GetDevice(ByteReader& parameters, Answer& answer);
void DeviceSpeeds(ByteReader& parameters, Answer& answer);

// relay_commands.cpp: what the local peer answers
void GetWifiFreqband(ByteReader& parameters, Answer& answer);
void GetMeshSupport(ByteReader& parameters, Answer& answer);
void SetMeshSwitch(ByteReader& parameters, Answer& answer);
void GetMeshSwitch(ByteReader& parameters, Answer& answer);
void SetMeshRoamingSwitch(ByteReader& parameters, Answer& answer);
void GetMeshRoamingSwitch(ByteReader& parameters, Answer& answer);
void SetMeshRoamingThreshold(ByteReader& parameters, Answer& answer);
void GetMeshRoamingThreshold(ByteReader& parameters, Answer& answer);
void GetMeshTopology(ByteReader& parameters, Answer& answer);
void GetNeighbourWifi(ByteReader& parameters, Answer& answer);
void GetBssid(ByteReader& parameters, Answer& answer);
void SetWan(ByteReader& parameters, Answer& answer);
void TriggerOneKeyOptimize(ByteReader& parameters, Answer& answer);
void TriggerFaultDiagnosis(ByteReader& parameters, Answer& answer);
void SetAutoReport(ByteReader& parameters, Answer& answer);

// rule_commands.cpp: the devices' scan, bandwidth limits and access windows
void ScanDevices(ByteReader& parameters, Answer& answer);
void SetBandwidthLimits(ByteReader& parameters, Answer& answer);
void SetAccessWindows(ByteReader& parameters, Answer& answer);

// diagnostic_commands.cpp: ping, traceroute and rate test
void PingStart(ByteReader& parameters, Answer& answer);
void PingFetch(ByteReader& parameters, Answer& answer);
void TracerouteStart(ByteReader& parameters, Answer& answer);
void TracerouteFetch(ByteReader& parameters, Answer& answer);
void RateTestStart(ByteReader& parameters, Answer& answer);
void ConfigurationData(ByteReader& parameters, Answer& answer);

}  // namespace plug
