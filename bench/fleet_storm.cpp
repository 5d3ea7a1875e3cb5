#include <arpa/inet.h>
#include <sys/socket.h>

#include "bench/fleet.h"
#include "bench/sandbox.h"
#include "bench/text.h"
#include "bench/text_table.h"

namespace plug::bench {
namespace {

constexpr int kFirstLoginPatience = 300;  // behind the supervisor's pause
constexpr int kReturnPatience = 900;
constexpr int kAfterwards = 5;  // seconds

/// A name server that never answers, on the loopback of a network.
int SilentNameServer(const Network& network) {
    int server = -1;
    InNetwork(network.descriptor(), [&server] {
        sockaddr_in name{};
        name.sin_family = AF_INET;
        name.sin_port = htons(53);
        name.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        server = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (bind(server, reinterpret_cast<sockaddr*>(&name), sizeof name) != 0)
            throw std::system_error(errno, std::generic_category(), "a name server");
    });
    return server;
}

/// The platform goes, with all connections, and comes back.
void Restart(Fleet& fleet, int away) {
    Platform& platform = *fleet.platform();
    if (!fleet.AwaitAll(kFirstLoginPatience)) throw std::runtime_error("not all agents log in");
    fleet.RunFor(kAfterwards, {});
    fleet.BeginTimeline();
    for (const Server server : {Server::kRegistration, Server::kLogin}) platform.CloseListener(server);
    platform.DropAll();
    fleet.RunFor(away, {});
    for (const Server server : {Server::kRegistration, Server::kLogin}) platform.OpenListener(server);
}

}  // namespace

int StormFleet(Fleet& fleet, const FleetOptions& options, Output& output) {
    if (fleet.platform() == nullptr)
        throw std::runtime_error("a storm is raised on the bench's own platform");
    if (options.storm == "restart") {
        fleet.Start();
        Restart(fleet, options.away);
    } else {
        const bool names = options.storm == "names";
        std::vector<int> silent;
        if (names) {
            ReplaceHosts("127.0.0.1 localhost\n");
            for (const auto& agent : fleet.agents()) silent.push_back(SilentNameServer(*agent->network()));
        }
        fleet.BeginTimeline();
        fleet.Start();
        if (names) {
            fleet.RunFor(options.away - fleet.Elapsed(), {});
            ReplaceHosts(kFleetHosts);
        }
        for (const int server : silent) close(server);
    }
    fleet.AwaitAll(kReturnPatience);
    const double all_in = fleet.Elapsed();
    fleet.RunFor(kAfterwards, {});
    const int logged_in = fleet.LoggedIn();
    const Json results = {{"storm", options.storm},
                          {"agents", options.agents},
                          {"most attempts in a second", fleet.most_attempts()},
                          {"most connections in a second", fleet.most_connections()},
                          {"logged in at the end", logged_in},
                          {"seconds until then", Format("%.0f", all_in)}};
    output.Show(results, Lines(results));
    return logged_in == options.agents ? 0 : 1;
}

}  // namespace plug::bench
