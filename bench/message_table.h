// Every frame of the platform link by its MsgType, and the plug data in them; the command table has the rest.
#pragma once

#include "bench/command_table.h"

namespace plug::bench {

enum class BodyForm : std::uint8_t {
    kFields,     // the fields, or nothing
    kRecord,     // a data record
    kAddressed,  // an addressed data record
};

struct MessageForm {
    MsgType type;
    const char* name;
    Fields head{};
    BodyForm body_form = BodyForm::kFields;
    Fields body{};
};
/// Of rows with the same type, a frame has the form of the first whose fields its body can hold.
std::span<const MessageForm> MessageForms();
/// The form of a frame with so much plaintext; nullptr when there is no such type.
const MessageForm* FindMessage(MsgType type, std::size_t plain_size);
/// The bytes that the fields take at least.
std::size_t LeastSize(Fields fields);

struct PlugDataForm {
    std::uint8_t id;
    const char* name;
};
std::span<const PlugDataForm> PlugDataForms();

}  // namespace plug::bench
