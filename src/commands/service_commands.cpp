// Commands about the router's FTP, Samba and Telnet services.
#include "commands/handlers.h"
#include "router_sdk.h"

namespace plug {
namespace {

constexpr std::size_t kAccountField = 16;

}  // namespace

void GetServiceSwitches(ByteReader&, Answer& answer) {
    for (const auto get : {get_ftp_switch, get_sambaenable_switch, get_telnetenable_switch}) {
        std::uint8_t value = 0;
        answer.result = SdkCode(get(&value));
        answer.payload.U8(value);
    }
}

void SetServiceSwitches(ByteReader& parameters, Answer&) {
    for (const auto set : {set_ftp_switch, set_sambaenable_switch, set_telnetenable_switch})
        set(parameters.U8());
}

void GetServiceAccounts(ByteReader&, Answer& answer) {
    for (const auto get : {get_ftp_user, get_ftp_password, get_samba_user, get_samba_password,
                           get_telnet_user, get_telnet_password}) {
        char text[kAccountField] = {};
        answer.result = SdkCode(get(text));
        answer.payload.Copy(AsBytes({text, sizeof text}));
    }
}

void SetServiceAccounts(ByteReader& parameters, Answer&) {
    for (const auto set : {set_ftp_user, set_ftp_password, set_samba_user, set_samba_password,
                           set_telnet_user, set_telnet_password}) {
        char text[kAccountField + 1] = {};  // a full field carries no NUL of its own
        const ConstBytes field = parameters.Take(kAccountField);
        std::copy(field.begin(), field.end(), text);
        set(text);
    }
}

}  // namespace plug
