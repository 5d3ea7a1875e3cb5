#include "bench/platform.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <system_error>
#include <utility>

#include "bench/agent_link.h"
#include "bench/network.h"
#include "bench/sockets.h"

namespace plug::bench {
namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kTokenSize = 32;
constexpr std::uint16_t kUnsupported = 7;  // the result of a command that the agent does not know

/// A token that carries the agent's MAC, so that the login is known even after the bench was started anew.
constexpr char kTokenPrefix[] = "bench-token-";

// What the poller knows descriptors by: a link by its number, others with a bit above all numbers.
constexpr std::uint64_t kListenerBit = 1ULL << 32;
constexpr std::uint64_t kWake = 1ULL << 33;

ByteVector TokenFor(const MacAddress& mac, const std::string& fixed) {
    const std::string text = fixed.empty() ? kTokenPrefix + ToHex(mac) : fixed;
    ByteVector token(kTokenSize);
    ByteWriter(token).Text(text, kTokenSize);
    return token;
}

std::optional<MacAddress> MacOfToken(const ByteVector& token) {
    const std::string_view text = AsText(token);
    if (!text.starts_with(kTokenPrefix)) return {};
    return ParseMac(text.substr(sizeof kTokenPrefix - 1, 12));
}

}  // namespace

struct Platform::Agent {
    AgentInfo info;
    LinkPtr link;  // the login connection
};

Platform::Platform(PlatformOptions options)
    : options_(std::move(options)), key_(MakeKey(options_.key)), behaviour_(options_.behaviour) {
    ports_[0] = options_.register_port;
    ports_[1] = options_.login_port;
    poller_.Add(wake_.descriptor(), kWake);
    OpenListener(Server::kRegistration);
    OpenListener(Server::kLogin);
    thread_ = std::thread([this] { Serve(); });
}

Platform::~Platform() {
    stopping_ = true;
    wake_.Set();
    thread_.join();
    due_.clear();
    links_.clear();
    agents_.clear();
    CloseListener(Server::kRegistration);
    CloseListener(Server::kLogin);
}

void Platform::Behave(Behaviour behaviour) {
    const std::lock_guard guard(mutex_);
    behaviour_ = std::move(behaviour);
}

Behaviour Platform::behaviour() const {
    const std::lock_guard guard(mutex_);
    return behaviour_;
}

void Platform::OpenListener(Server server) {
    const std::lock_guard guard(mutex_);
    for (const auto& [listener, open] : listeners_)
        if (open == server) return;
    const auto listen_here = [this, server] {
        const int listener = Listen(options_.listen, ports_[static_cast<std::size_t>(server)]);
        listeners_[listener] = server;
        poller_.Add(listener, kListenerBit | static_cast<std::uint64_t>(listener));
    };
    if (options_.networks.empty()) listen_here();
    for (const int network : options_.networks) InNetwork(network, listen_here);
}

void Platform::CloseListener(Server server) {
    const std::lock_guard guard(mutex_);
    std::erase_if(listeners_, [this, server](const auto& listener) {
        if (listener.second != server) return false;
        poller_.Remove(listener.first);
        close(listener.first);
        return true;
    });
}

// --- the serving thread ---

void Platform::Serve() {
    while (!stopping_) {
        for (const epoll_event& event : poller_.Wait(UntilDue())) ServeOne(event.data.u64);
        CarryOutDue();
    }
}

void Platform::ServeOne(std::uint64_t id) {
    if (id == kWake) return wake_.Clear();
    if ((id & kListenerBit) != 0) return Accept(static_cast<int>(id & ~kListenerBit));
    LinkPtr link;
    {
        const std::lock_guard guard(mutex_);
        if (const auto found = links_.find(static_cast<int>(id)); found != links_.end()) link = found->second;
    }
    if (link != nullptr && link->stalled_until.load() <= Clock::now()) Read(link);
}

int Platform::UntilDue() const {
    const std::lock_guard guard(mutex_);
    if (due_.empty()) return -1;
    const auto left = std::chrono::ceil<Milliseconds>(due_.begin()->first - Clock::now());
    return static_cast<int>(std::clamp<std::int64_t>(left.count(), 0, 60'000));
}

void Platform::CarryOutDue() {
    for (;;) {
        Due due;
        {
            const std::lock_guard guard(mutex_);
            if (due_.empty() || due_.begin()->first > Clock::now()) return;
            due = std::move(due_.begin()->second);
            due_.erase(due_.begin());
        }
        if (!due.link->open) continue;
        if (!due.ack.empty())
            due.link->Send(due.ack);
        else if (due.link->stalled_until.load() <= Clock::now())  // else it was stalled again
            poller_.Add(due.link->socket, static_cast<std::uint64_t>(due.link->number));
    }
}

void Platform::Accept(int listener) {
    LinkPtr link;
    sockaddr_in peer{};
    {
        const std::lock_guard guard(mutex_);
        const auto found = listeners_.find(listener);
        const int socket = found != listeners_.end() ? AcceptFrom(listener, peer) : -1;
        if (socket < 0) return;
        link = std::make_shared<AgentLink>(socket, ++link_count_, found->second, AddressText(peer));
        links_[link->number] = link;
    }
    link->Watch(options_.tap, peer);
    LinkEvent event;
    event.kind = EventKind::kConnected;
    event.peer = link->peer;
    Record(link, std::move(event));
    poller_.Add(link->socket, static_cast<std::uint64_t>(link->number));
}

void Platform::Read(const LinkPtr& link) {
    const ssize_t received = link->Receive();
    if (received < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (received <= 0) {
        link->TellClosed(true, received < 0);
        const std::string reset = received < 0 ? " with " + std::generic_category().message(errno) : "";
        Close(link, link->dropped ? "closed by the platform" : "closed by the agent" + reset);
        return;
    }
    while (link->open) {
        auto event = link->CutFrame(key_);
        if (!event) return;
        Handle(link, std::move(*event));
    }
}

void Platform::Handle(const LinkPtr& link, LinkEvent event) {
    switch (event.kind) {
        case EventKind::kRegister:
            OnRegister(link, event);
            break;
        case EventKind::kLogin:
            OnLogin(link, event);
            break;
        case EventKind::kHeartbeat: {
            bool answer;
            {
                const std::lock_guard guard(mutex_);
                answer = behaviour_.answer_heartbeats;
                if (const auto found = agents_.find(link->mac); found != agents_.end())
                    ++found->second.info.heartbeats;
            }
            Record(link, std::move(event));
            if (answer) link->Send(BuildFrame(key_, MsgType::kHeartbeatAck, {}, {}));
            break;
        }
        default:
            Record(link, std::move(event));
            break;
    }
}

void Platform::OnRegister(const LinkPtr& link, LinkEvent& event) {
    link->mac = event.mac;
    ByteVector token;
    Behaviour behaviour;
    {
        const std::lock_guard guard(mutex_);
        behaviour = behaviour_;
        Agent& agent = agents_[event.mac];
        agent.info.mac = event.mac;
        agent.info.serial = event.serial;
        agent.info.pin = event.pin;
        ++agent.info.registrations;
        token = TokenFor(event.mac, behaviour.token);
        token_owners_[token] = event.mac;
    }
    Ack ack = behaviour.register_ack;
    if (!options_.pin.empty() && event.pin != options_.pin) {
        event.note = "PIN is not " + options_.pin;
        ack = Ack::kRefuse;
    }
    sockaddr_in own = OwnName(link->socket);
    if (!behaviour.login_address.empty()) inet_pton(AF_INET, behaviour.login_address.c_str(), &own.sin_addr);
    const std::uint16_t port = behaviour.login_port != 0 ? behaviour.login_port : login_port();
    Record(link, std::move(event));
    SendAck(link, ack,
            BuildRegisterAck(key_, token, ntohl(own.sin_addr.s_addr), port, AsBytes(behaviour.second_value)));
}

void Platform::OnLogin(const LinkPtr& link, LinkEvent& event) {
    Ack ack;
    std::uint16_t interval;
    {
        const std::lock_guard guard(mutex_);
        ack = behaviour_.login_ack;
        interval = behaviour_.interval;
        if (const auto owner = token_owners_.find(event.token); owner != token_owners_.end())
            link->mac = owner->second;
        if (AllZero(link->mac)) link->mac = MacOfToken(event.token).value_or(MacAddress{});
        if (AllZero(link->mac)) {
            event.note = "unknown token";
            ack = Ack::kRefuse;
        } else if (ack == Ack::kAccept) {
            Agent& agent = agents_[link->mac];
            agent.info.mac = link->mac;
            agent.info.pin = event.pin;
            agent.info.logged_in = true;
            ++agent.info.logins;
            agent.info.peer = link->peer;
            agent.link = link;
        }
    }
    event.mac = link->mac;
    Record(link, std::move(event));
    SendAck(link, ack, BuildLoginAck(key_, interval));
}

void Platform::SendAck(const LinkPtr& link, Ack ack, ByteVector frame) {
    if (ack == Ack::kSilent) return;
    if (ack == Ack::kClose) {
        Close(link, "closed by the platform");
        return;
    }
    const std::array<std::uint8_t, 2> head = {ack == Ack::kRefuse, 0};
    if (ack != Ack::kAccept) frame = BuildFrame(key_, MsgType::kAck, head, {});
    const Behaviour how = behaviour();
    if (how.rewrite_ack) frame = how.rewrite_ack(std::move(frame));
    if (how.ack_delay.count() == 0) {
        link->Send(frame);
    } else {
        const std::lock_guard guard(mutex_);
        due_.emplace(Clock::now() + how.ack_delay, Due{link, std::move(frame)});
    }
}

void Platform::Close(const LinkPtr& link, std::string note) {
    if (!link->received.empty()) {
        LinkEvent event;
        event.kind = EventKind::kBadFrame;
        event.frame = std::exchange(link->received, {});
        event.note = "the connection ended inside a frame";
        Record(link, std::move(event));
    }
    link->open = false;
    poller_.Remove(link->socket);
    {
        const std::lock_guard guard(mutex_);
        links_.erase(link->number);
        if (const auto found = agents_.find(link->mac);
            found != agents_.end() && found->second.link == link) {
            found->second.link.reset();
            found->second.info.logged_in = false;
            found->second.info.peer.clear();
        }
    }
    link->TellClosed(false, false);
    // Behind a kept reference the socket would stay open; the peer hears of the end now.
    shutdown(link->socket, SHUT_RDWR);
    LinkEvent event;
    event.kind = EventKind::kClosed;
    event.note = std::move(note);
    Record(link, std::move(event));
}

void Platform::Record(const LinkPtr& link, LinkEvent event) {
    event.link = link->number;
    event.server = link->server;
    event.mac = link->mac;
    if (options_.on_event) return options_.on_event(event);
    log_.Append(std::move(event));
}

// --- callers' threads ---

std::vector<AgentInfo> Platform::Agents() const {
    const std::lock_guard guard(mutex_);
    std::vector<AgentInfo> infos;
    for (const auto& [mac, agent] : agents_) infos.push_back(agent.info);
    return infos;
}

std::optional<AgentInfo> Platform::Find(const MacAddress& agent) const {
    const std::lock_guard guard(mutex_);
    const auto found = agents_.find(agent);
    if (found == agents_.end()) return {};
    return found->second.info;
}

LinkPtr Platform::LoginLink(const MacAddress& agent) const {
    const std::lock_guard guard(mutex_);
    const auto found = agents_.find(agent);
    return found == agents_.end() ? nullptr : found->second.link;
}

bool Platform::SendBytes(const MacAddress& agent, ConstBytes bytes) {
    const LinkPtr link = LoginLink(agent);
    return link != nullptr && link->Send(bytes);
}

bool Platform::SendFrame(const MacAddress& agent, MsgType type, ConstBytes head, ConstBytes plain) {
    return SendBytes(agent, BuildFrame(key_, type, head, plain));
}

bool Platform::SendCommand(const MacAddress& agent, std::uint16_t id, ConstBytes parameters,
                           const std::optional<MacAddress>& address, std::uint16_t head) {
    return SendBytes(agent, BuildCommand(key_, id, parameters, address.value_or(agent), head));
}

bool Platform::SendPlugData(const MacAddress& agent, std::uint8_t data_type, std::string_view text,
                            MsgType type) {
    return SendBytes(agent, BuildPlugData(key_, type, data_type, text));
}

std::optional<LinkEvent> Platform::Ask(const MacAddress& agent, std::uint16_t id, ConstBytes parameters,
                                       Milliseconds timeout) {
    Cursor cursor = FromNow();
    const std::uint16_t head = NextHead();
    if (!SendCommand(agent, id, parameters, {}, head)) return {};
    return AwaitAnswer(cursor, agent, id, head, timeout);
}

std::optional<LinkEvent> Platform::AwaitAnswer(Cursor& cursor, const MacAddress& agent, std::uint16_t id,
                                               std::uint16_t head, Milliseconds timeout,
                                               std::optional<LinkEvent>* refusal) {
    auto answer = cursor.WaitFor(IsAnswerTo(agent, id, head), timeout);
    if (answer && answer->result() == kUnsupported) {
        auto second = cursor.WaitFor(IsAnswerTo(agent, id, head), Milliseconds(1000));
        if (refusal != nullptr) *refusal = std::move(second);
    }
    return answer;
}

bool Platform::SendSplit(const MacAddress& agent, ConstBytes bytes, std::size_t parts, Milliseconds pause) {
    const LinkPtr link = LoginLink(agent);
    return link != nullptr && link->SendSplit(bytes, parts, pause);
}

bool Platform::ForceDisconnect(const MacAddress& agent) {
    return SendFrame(agent, MsgType::kForcedDisconnect, {}, {});
}

bool Platform::Drop(const MacAddress& agent, bool abruptly) {
    const LinkPtr link = LoginLink(agent);
    return link != nullptr && link->Drop(abruptly);
}

void Platform::DropAll() {
    std::vector<LinkPtr> links;
    {
        const std::lock_guard guard(mutex_);
        for (const auto& [number, link] : links_) links.push_back(link);
    }
    for (const LinkPtr& link : links) link->Drop(false);
}

bool Platform::Stall(const MacAddress& agent, Milliseconds time) {
    const LinkPtr link = LoginLink(agent);
    if (link == nullptr) return false;
    link->stalled_until = Clock::now() + time;
    poller_.Remove(link->socket);
    {
        const std::lock_guard guard(mutex_);
        due_.emplace(link->stalled_until, Due{link, {}});
    }
    wake_.Set();
    return true;
}

}  // namespace plug::bench
