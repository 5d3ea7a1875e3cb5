#include "fuzz/surroundings.h"

#include "bench/process.h"
#include "bench/sandbox.h"
#include "commands/dispatcher.h"
#include "commserver/comm_dispatch.h"
#include "core/log.h"
#include "core/paths.h"
#include "core/profile.h"
#include "platform/identity.h"
#include "platform/inbound.h"
#include "platform/link_state.h"
#include "platform/settings.h"
#include "rules/plug_data.h"
#include "subdev/function40.h"

extern "C" int LLVMFuzzerInitialize(int* /*count*/, char*** /*arguments*/) {
    using namespace plug;
    bench::EnterSandbox("127.0.0.1 localhost\n");
    SetLogMask(kAllLevels);
    PrepareCipher();
    bench::WriteFile(kDefaultProfilePath, "[Dev]\nPIN=123456789012\n[Protool]\nKEY=" +
                                              std::string(test::kKey) + "\nSERVER1=127.0.0.1\n");
    NewProgramProfile("", kDefaultProfilePath);
    test::Require(InitProtool() == ServerChoice::kBoth);
    SetRouterIdentity({0, 0, 0x5E, 0, 0x53, 1});
    SetCommandHandlers({ParserProtoolData, ParserPlugData});
    SetDeviceListHandler(Fn40Handle);
    SetRegistered(true);
    SetLoggedIn(true);
    RaiseLinkError();  // ends the retries of a rule that cannot be used
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    plug::test::Look(plug::ByteReader({data, size}));
    return 0;
}
