#include "log_authors.h"

#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <vector>

namespace plug::e2e {
namespace {

// An entry is written as its time stamp, its prefix, its text and the end of that; what another thread writes
// may come between any two of them.
constexpr char kPrefix[] = "\x1b[1;3";
constexpr std::size_t kPlaceAt = sizeof kPrefix - 1 + sizeof "3m [" - 1;
constexpr char kPlaceEnd[] = "]-> \x1b[0m\x1b[1;33m";  // the last colour may be another
constexpr char kTextEnd[] = "\n\n\x1b[0m";

struct Module {
    const char* name;
    const char* operations;  // those that log, with a blank before and behind each
};
constexpr Module kModules[] = {
    {"Plug.c", " main "},
    {"Common.c", " config_line_proc NewProgramProfile getKeyValueStr "},
    {"Protool.c",
     " InitProtool RegisterStart RegistSendMsg LoginStart ReLogin LoginServer HeartbeatStart DeleteHeartbear "
     "CheckProc RulesRequest CBHandle SendRouteUpData SendIpUpData SendReplyUpData "},
    {"TcpServer.c", " GetServerIp ServerInit SocketInit ServerRecv RespProc DeleteServer "},
    {"TcpQueue.c", " Push Pop "},
    {"security.c", " aes_encrypt aes_decrypt "},
    {"ProtoolSdk.c",
     " ParserProtoolData ParseConfigData PopenParsePing KillTrace500s RateTestThread RateTestProc "
     "dev_fwversion_report "},
    {"Download.c", " DownLoadFIle DownTestRateFIle "},
    {"CommServer.c",
     " CommServerStart CommServerProc ServerThread CommReleaseProc CommRecvHandle CommFuncRecv Route_Wait "
     "CommSendCmd CommServerSend CommAutoReport CommAutoJsonReport CommAutoReport89 CommFwUpdateResult "
     "Comm_get_88Conf jumpTimeToSec ComF_get_wifi_freqband ComF_get_mesh_support ComF_set_mesh_switch "
     "ComF_get_mesh_switch ComF_set_mesh_roaming_switch ComF_get_mesh_roaming_switch "
     "ComF_set_mesh_roaming_threshold ComF_get_mesh_roaming_threshold ComF_get_mesh_topology "
     "ComF_get_adj_wifi_info ComF_get_bssid ComF_set_wan_cfg ComF_trig_onekey_optimize "
     "ComF_trig_fault_diagnosis ComF_send_pluginstate ComF_get_autoreport_conf ComF_set_auto_report "
     "ComF_send_calibration "},
    {"Subdev.c",
     " StartSubdev SubdevThread GetFlowStatisData GetOffLineInfo GetBlackInfo SendtoServer printHexBuf "},
    {"Function39.c", " Fn39Init Fn39LoadMac Fn39UpdateMac Fn39ReportProc Fn39OnlineReport "},
    {"Function40.c", " Fn40Init Fn40Handle Fn40FilterProc Fn40OnlineReport "},
    {"ParseJson.c", " ParserPlugData DownLoadProc Compute_file_md5 ParserPlug BuildJson "},
    {"RouteFunc.c", " ParseRouteParam AddRoute DeleteRoute ParseTcParam "},
    {"eaccess.c",
     " ParseSurfRulesParam CommitSurfRule set_surf_rule del_surf_rule hash_table_init hash_table_insert "
     "hash_table_lookup hash_table_remove rule_node_init rule_node_exist rule_node_insert rule_node_delete "
     "rule_node_match surf_rule_func StartEaccess StopEaccess "},
    {"iot_poll.c", " no_feeling_daemon TimeRuleProc "},
};

/// Beginnings of texts that an author logs in a session, with '~' between them. No author without such a row
/// logs a text that begins so, in any session.
struct Row {
    const char* author;
    const char* texts;
};
struct Session {
    std::string name;
    std::vector<Row> rows;
};
const Session kSessions[] = {
    {"OfTheStart",
     {{"Common.c->NewProgramProfile", "use config file  [/tmp/plug.conf]~use config file\t[./plug.conf]"},
      {"Common.c->config_line_proc",
       "Unknown option: x~Error: mac format must be~"
       "Error: -f argument given but no file specified."},
      {"Common.c->getKeyValueStr", "Can not fopen("},
      {"Function39.c->Fn39LoadMac", "LOAD macconfig~open MacConf file failed"},
      {"Protool.c->InitProtool",
       "DNS resolve addres1 error~DNS resolve addres2 error~Only access server1.~"
       "RegPort error.~PIN:\t~KEY:\t~SERVER1:\t~SERVER2:\t~PORT:\t"},
      {"Protool.c->RegistSendMsg", "ERROR: PIN is empty~ERROR: KEY is empty"},
      {"Protool.c->RegisterStart", "ROUTER MAC: ~SN: ~ERROR: get sn failed!~ERROR: SN is invalid!"},
      {"Subdev.c->StartSubdev", "Start Subdevice task."},
      {"TcpServer.c->GetServerIp", "gethostbyname error for host:~hostname: one~ip: 127.0.0.1"},
      {"eaccess.c->hash_table_init", "Rule table init done."},
      {"iot_poll.c->TimeRuleProc", "TimeRuleProc runing..."},
      {"iot_poll.c->no_feeling_daemon", "create TimeRuleProc ok!"}}},
    {"OfTheLink",
     {{"Protool.c->CBHandle",
       "regist ack ===len ~optlen ~regist ack error~regist ack======ip:~"
       "regist ok tocken ,port ~login ack\n~register ack error~login ack heartbeep interval ~"
       "heart beat ack~net error reconnect~Recv MsgType=[20]~checksum error, ~"
       "force disconnect exit !!!!!~exit at [CBHandle] "},
      {"Protool.c->LoginServer", "LoginServer command -----"},
      {"Protool.c->LoginStart", "quit regist,start login ~Login ServerInit error~login failed !~Login done"},
      {"Protool.c->ReLogin", "Re-login ~Login ServerInit error~login failed !~Login done"},
      {"Protool.c->RegistSendMsg", "aes_crypt_ecb encode: ----len "},
      {"Protool.c->RegisterStart", "Register failed.~Register server1 success."},
      {"Protool.c->RulesRequest", "Send to platform: \n"},
      {"Protool.c->SendIpUpData", "Send MsgType=[17] DataType=[13] "},
      {"TcpQueue.c->Pop", "frame of 65797 bytes refused"},
      {"TcpServer.c->RespProc", "regist or connnect ack len = "},
      {"TcpServer.c->ServerInit", "SocketInit error"},
      {"TcpServer.c->ServerRecv", "Close link."},
      {"TcpServer.c->SocketInit", "connect failed!......"}}},
    {"OfFunctionCommands",
     {{"CommServer.c->ComF_get_adj_wifi_info", "ERROR: send get adj wifi info command failed!"},
      {"CommServer.c->ComF_get_bssid", "ERROR: send get bssid command failed!"},
      {"CommServer.c->ComF_get_mesh_roaming_switch", "ERROR: send get mesh roaming switch command failed!"},
      {"CommServer.c->ComF_get_mesh_roaming_threshold",
       "ERROR: send get mesh roaming threshold command failed!"},
      {"CommServer.c->ComF_get_mesh_support", "ERROR: send get mesh support command failed!"},
      {"CommServer.c->ComF_get_mesh_switch", "ERROR: send get mesh switch command failed!"},
      {"CommServer.c->ComF_get_mesh_topology", "ERROR: send get mesh topology command failed!"},
      {"CommServer.c->ComF_get_wifi_freqband", "ERROR: send command failed!"},
      {"CommServer.c->ComF_set_auto_report", "ERROR: send set autoreport switch command failed!"},
      {"CommServer.c->ComF_set_mesh_roaming_switch", "ERROR: send set mesh roaming switch command failed!"},
      {"CommServer.c->ComF_set_mesh_roaming_threshold",
       "ERROR: send set mesh roaming threshold command failed!"},
      {"CommServer.c->ComF_set_mesh_switch", "ERROR: send set mesh switch command failed!"},
      {"CommServer.c->ComF_set_wan_cfg", "ERROR: send set wan cfg command failed!"},
      {"CommServer.c->ComF_trig_fault_diagnosis", "ERROR: send trigger fault diagnosis command failed!"},
      {"CommServer.c->ComF_trig_onekey_optimize", "ERROR: send trigger onekey optimize command failed!"},
      {"CommServer.c->CommSendCmd", "get freqband\n~trigger fault diagnosis\n"},
      {"Download.c->DownTestRateFIle",
       "can't connect to ~head HTTP/1.1~lengthlen ~lens = ~404 Not Found~"
       "Can't find Content-Length~--------------subtime ~--------------rate "},
      {"ProtoolSdk.c->KillTrace500s", "Exit killTrace"},
      {"ProtoolSdk.c->ParseConfigData", "ConfigData: ~func61 address: ~Please wait last finish."},
      {"ProtoolSdk.c->ParserProtoolData",
       "ERROR: get freqband failed! ret=~ERROR: get mesh support failed! ret=~"
       "ERROR: set mesh switch failed! ret=~ERROR: get mesh switch failed! ret=~"
       "ERROR: set mesh roaming switch failed! ret=~"
       "ERROR: get mesh roaming switch failed! ret=~"
       "ERROR: set mesh roaming threshold failed! ret=~"
       "ERROR: get mesh roaming threshold failed! ret=~ERROR: get mesh topology failed! ret=~"
       "ERROR: get adj wifi info failed! ret=~ERROR: get bssid failed! ret=~"
       "ERROR: set wan configure failed! ret=~ERROR: trigger onekey optimize failed! ret=~"
       "ERROR: trigger fault diagnosis failed! ret=~ERROR: set auto report failed! ret=~"
       "ParserProtoolData funcid ~Get freqband index=~Set mesh switch=~"
       "Set mesh roaming switch=~Set mesh roaming index=~get threshold 0,0~88 jsonLen: ~"
       "87 jsonLen: ~ERROR: config data have errors!!!~ssid index ~ssid channel ~"
       "unsupported funcid 62~Open /tmp/tracerouteFile Failed.~speed1=~wlan num 9~"
       "list of 129 entries refused"},
      {"ProtoolSdk.c->PopenParsePing", "ping --------------~------------ping len ="},
      {"ProtoolSdk.c->RateTestProc",
       "port length: ~server len  ~serverName: ~route rate ---------------~route rate up ret "},
      {"ProtoolSdk.c->RateTestThread", "route rate ---------------~route rate up ret "},
      {"RouteFunc.c->ParseTcParam",
       "\nflag:~flag = 0, clean tc rules~set_dev_us_max_bw result: ~"
       "set_dev_ds_max_bw result: ~Parse json failed.~Wrong tc rule param flag"},
      {"Subdev.c->GetBlackInfo", "BlackNum=~BlackMac0="},
      {"Subdev.c->GetOffLineInfo", "Unable to open file /tmp/tmpSubdev."},
      {"Subdev.c->SubdevThread", "DeviceNum too large.~get_devs_cfg Failed.~InNetSeg=192.168.1."},
      {"Subdev.c->printHexBuf", "00 00 3F 00 "},
      {"eaccess.c->ParseSurfRulesParam", "flag:~Parse json failed.~Wrong surf rule param"},
      {"eaccess.c->del_surf_rule",
       "Del from surf rule ~rule - 8:0 23:0~hash node is NULL for ~"
       "surf rule 00:00:5E:00:53:B1|3 removed.~set_dev_access_control for: "},
      {"eaccess.c->hash_table_insert", "Mem overflow!"},
      {"eaccess.c->hash_table_lookup", "found "},
      {"eaccess.c->hash_table_remove", "remove 00:00:5E:00:53:B1"},
      {"eaccess.c->rule_node_delete", "delete node done! ~can't find node! "},
      {"eaccess.c->rule_node_exist", "surf rule exist "},
      {"eaccess.c->set_surf_rule", "Add surf rule "}}},
    {"OfPlugData",
     {{"CommServer.c->CommSendCmd", "Firmware update\n"},
      {"Download.c->DownLoadFIle", "found\n~head HTTP/1.1~lengthlen ~lens = "},
      {"ParseJson.c->ParserPlug",
       "pluginID : p~pluginID of 200 characters refused~fromVersion : ~toVersion : ~url : ~"
       "portlen ~server len  ~fileLength : ~fileMD5 : ~token : ~----------mac  : ~"
       "devrecog result  : ~url: ~checkMethod : ~MD5: c~fromVersion is mismatching.~"
       "toVersion is mismatching.~url is null.~fileLength is null.~checkMethod is null.~"
       "chkSum is null.~Set subdev auto report 5 minute.~Close subdev auto report.~"
       "Set subdev auto report error.~func40Interval : ~func40Interval not found."},
      {"ParseJson.c->ParserPlugData",
       "ParserPlug datatype_update_cmd ret ~update cmd ok~md5: down :~plug update url :~"
       "1-----------md5: down :other~md5: self:~exit at [ParserPlugData] ~datatype_online~"
       "datatype_vip~datatype_recog~datatype_rerecog~datatype_route_set~"
       "update firmware cmd ok~update firmware cmd error.~update firmware file error.~"
       "send update firmware command failed.~datatype_fn40_interval."},
      {"RouteFunc.c->AddRoute", " route_cmd1: \n~ route_cmd2: \n"},
      {"RouteFunc.c->DeleteRoute", " route_cmd1: \n~ route_cmd2: \n"},
      {"RouteFunc.c->ParseRouteParam",
       "pMsg: \n~ FLAG = [~ PRE_IP = [~ PRE_PORT = [~ POST_IP = [~ POST_PORT = [~"
       " ParseRouteParam 556 : error = [-8]"}}},
    {"OfTheLocalPeer",
     {{"CommServer.c->ComF_send_pluginstate", "send plugin state ok, no need ack."},
      {"CommServer.c->ComF_set_auto_report",
       "Receive 88 info:\n~referNum is error !!!!!!~"
       "Calibration time error !!!!!!~MacVal: ~jump time is error!~set auto report info:\n"},
      {"CommServer.c->CommAutoJsonReport", "ERROR: receive data length error!"},
      {"CommServer.c->CommAutoReport", "ERROR: receive data length error!"},
      {"CommServer.c->CommAutoReport89",
       "ERROR: receive data length error!~ERROR: type error!~Type1 report interval: ~"
       "ERROR: type1 report error!~ERROR: type2 report error!~Type3 report interval: ~"
       "ERROR: type3 report error!"},
      {"CommServer.c->CommFuncRecv", "Recv length: 3~ERROR: receive data too large!"},
      {"CommServer.c->CommFwUpdateResult",
       "update firmware success.~update firmware file error.~"
       "Firmware update return length error."},
      {"CommServer.c->CommRecvHandle",
       "Receive length error, length is 14~Receive head error.~Receive  checkSum error.~"
       "Receive  sequence error.~Error funcID~comm_get_version~comm_get_wan_tcp_con_num~"
       "Old plugin no plugin state notice.~send plugin state ok, no need ack."},
      {"CommServer.c->CommReleaseProc", "release ok"},
      {"CommServer.c->CommSendCmd",
       "get freqband\n~get mesh support\n~set mesh switch\n~get mesh switch\n~"
       "set mesh roaming switch\n~get mesh roaming switch\n~set mesh roaming threshold\n~"
       "get mesh roaming threshold\n~get mesh topology\n~get adj wifi info\n~get bssid\n~"
       "set wan configure\n~trigger one key optimize\n~trigger fault diagnosis\n~"
       "set auto report\n~send plugin state\n~Firmware update\n"},
      {"CommServer.c->CommServerProc", "link quntity is large."},
      {"CommServer.c->CommServerSend", "send success"},
      {"CommServer.c->Comm_get_88Conf", "Receive 88 info:\n"},
      {"CommServer.c->ServerThread", "create a instance...~Close link.~Close instance."},
      {"CommServer.c->jumpTimeToSec",
       "jump time error!!!~jump time error!\n~Time data length error!!!~Time data error!!!~"
       "jump time is little than 3600!"},
      {"Function40.c->Fn40Handle",
       "Subdev number error.~Subdev length error.~Have subdev data.~Subdev offline."},
      {"ParseJson.c->ParserPlugData", "send update firmware command success."},
      {"Protool.c->SendIpUpData", "Send MsgType=[19] DataType=[89] "},
      {"ProtoolSdk.c->ParserProtoolData",
       "get threshold 0,0~adj wifi info length: ~adj wifi adjdevnum: ~"
       "ERROR: Data length is too short! len=~ERROR: set auto report failed! ret="},
      {"eaccess.c->StopEaccess", "Stop Eaccess success !!!!!"},
      {"iot_poll.c->TimeRuleProc", "TimeRuleProc return..."}}},
    {"OfTheFirstMinutes",
     {{"CommServer.c->ComF_get_autoreport_conf",
       "ERROR: get auto report config info failed!~DEBUG: get auto report config info success."},
      {"CommServer.c->ComF_send_calibration",
       "referNum is error !!!!!!~MacVal: ~set auto report info:\n~"
       "Send calibration success, No need return!"},
      {"CommServer.c->ComF_send_pluginstate",
       "ERROR: send plugin state failed!~send plugin state ok, no need ack."},
      {"CommServer.c->CommSendCmd", "get autoreport conf\n"},
      {"CommServer.c->Comm_get_88Conf", "Receive 88 info:\n"},
      {"CommServer.c->Route_Wait", "ERROR: request timeout!"},
      {"Function39.c->Fn39OnlineReport", "Online subdev:"},
      {"Function39.c->Fn39ReportProc", "Func39 query...~Func39 get_devs_cfg failed.~Use function 40"},
      {"Function39.c->Fn39UpdateMac", "UpdateMacProfile"},
      {"Function40.c->Fn40FilterProc", "Clean 40 subdev."},
      {"Function40.c->Fn40OnlineReport", "Online subdev:"},
      {"Protool.c->CheckProc", "heart beep error"},
      {"Protool.c->SendRouteUpData", "71\n"},  // bytes of an online report's frame
      {"ProtoolSdk.c->dev_fwversion_report", "fwDate:~fwversion:\n"},
      {"eaccess.c->hash_table_lookup", "found "},
      {"eaccess.c->rule_node_match", "surf rule match "},
      {"eaccess.c->surf_rule_func",
       "Sub dev num:[~Can't find rule for : ~Found rule for : ~get_devs_cfg failed\n~"
       "set_dev_access_control for: "}}},
};

/// An entry; or several that threads wrote into one another, which no reader can tell apart.
struct Entry {
    std::vector<std::string> authors;  // of each: "Plug.c->main"
    std::string text;                  // of all of them
};

std::vector<Entry> ReadEntries(const std::string& log) {
    std::vector<Entry> entries;
    std::size_t under_way = 0;
    for (std::size_t at = 0; at < log.size();) {
        const std::size_t prefix = log.find(kPrefix, at);
        const std::size_t end = log.find(kTextEnd, at);
        if (under_way > 0) entries.back().text += log.substr(at, std::min(prefix, end) - at) + "\n";
        if (end < prefix) {
            if (under_way > 0) --under_way;
            at = end + sizeof kTextEnd - 1;
            continue;
        }
        if (prefix == std::string::npos) break;
        const std::size_t place = prefix + kPlaceAt;
        const std::size_t place_end = log.find("]-> ", place);
        if (place_end == std::string::npos) break;
        if (under_way++ == 0) entries.emplace_back();
        const std::string whole = log.substr(place, place_end - place);
        entries.back().authors.push_back(whole.substr(0, whole.rfind("->")));
        at = place_end + sizeof kPlaceEnd - 1;
    }
    return entries;
}

/// True when the agent has an operation of that name in that module.
bool IsAuthor(const std::string& author) {
    const std::size_t arrow = author.find("->");
    if (arrow == std::string::npos) return false;
    const std::string operation = " " + author.substr(arrow + 2) + " ";
    for (const Module& module : kModules) {
        if (module.name == author.substr(0, arrow))
            return std::string(module.operations).find(operation) != std::string::npos;
    }
    return false;
}

std::vector<std::string> Split(const std::string& texts) {
    std::istringstream stream(texts);
    std::vector<std::string> parts;
    for (std::string part; std::getline(stream, part, '~');) parts.push_back(part);
    return parts;
}

/// The authors that the table has for each text.
const std::map<std::string, std::set<std::string>>& AuthorsOfTexts() {
    static const auto authors = [] {
        std::map<std::string, std::set<std::string>> by_text;
        for (const Session& session : kSessions) {
            for (const Row& row : session.rows) {
                for (const std::string& text : Split(row.texts)) by_text[text].insert(row.author);
            }
        }
        return by_text;
    }();
    return authors;
}

}  // namespace

std::string ForeignAuthors(const std::string& log) {
    std::string foreign;
    for (const Entry& entry : ReadEntries(log)) {
        for (const std::string& author : entry.authors) {
            bool right = IsAuthor(author);
            if (entry.authors.size() == 1) {
                for (const auto& [text, authors] : AuthorsOfTexts())
                    if (entry.text.starts_with(text)) right = right && authors.contains(author);
            }
            if (!right) foreign += author + ": " + entry.text;
        }
    }
    return foreign;
}

std::string MissingTexts(const std::string& log, const std::string& session) {
    const auto* const expected = std::ranges::find(kSessions, session, &Session::name);
    if (expected == std::end(kSessions)) return "no session has the name " + session;
    std::string missing;
    const std::vector<Entry> entries = ReadEntries(log);
    for (const Row& row : expected->rows) {
        for (const std::string& text : Split(row.texts)) {
            const bool found = std::ranges::any_of(entries, [&](const Entry& entry) {
                return std::ranges::count(entry.authors, row.author) > 0 &&
                       (entry.authors.size() == 1 ? entry.text.starts_with(text)
                                                  : entry.text.find(text) != std::string::npos);
            });
            if (!found) missing += std::string(row.author) + ": " + text + "\n";
        }
    }
    return missing;
}

}  // namespace plug::e2e
