#include "bench/web/feed.h"

#include "bench/text.h"

namespace plug::bench {
namespace {

constexpr std::size_t kKept = 1000;

std::string Text(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string Message(const std::string& kind, const std::string& id, const std::string& data) {
    std::string message = "event: " + kind + "\n";
    if (!id.empty()) message += "id: " + id + "\n";
    return message + "data: " + data + "\n\n";
}

std::string Now() {
    return std::to_string(std::chrono::system_clock::now().time_since_epoch().count());
}

}  // namespace

Feed::Feed() : run_(Now()) {}

void Feed::Tell(const char* kind, const Json& event) {
    {
        const std::lock_guard guard(mutex_);
        kept_.push_back(Message(kind, Id(first_ + kept_.size()), Text(event)));
        if (kept_.size() > kKept) {
            kept_.pop_front();
            ++first_;
        }
    }
    changed_.notify_all();
}

void Feed::SetState(const Json& state) {
    std::string text = Text(state);
    {
        const std::lock_guard guard(mutex_);
        if (text == state_) return;
        state_ = std::move(text);
        ++state_number_;
    }
    changed_.notify_all();
}

void Feed::Close() {
    {
        const std::lock_guard guard(mutex_);
        closed_ = true;
    }
    changed_.notify_all();
}

Feed::Reader::Reader(Feed& feed, const std::string& last_id) : feed_(feed) {
    const std::string own = feed.run_ + "-";
    if (last_id.starts_with(own)) next_ = std::strtoull(last_id.c_str() + own.size(), nullptr, 10) + 1;
}

std::optional<std::string> Feed::Reader::Next(Milliseconds patience) {
    std::unique_lock lock(feed_.mutex_);
    const auto end = [this] { return feed_.first_ + feed_.kept_.size(); };
    feed_.changed_.wait_for(lock, patience, [&] {
        return feed_.closed_ || !greeted_ || next_ < end() || state_ < feed_.state_number_;
    });
    if (feed_.closed_) return {};
    std::string text;
    if (!greeted_) text = Message("hello", "", Text({{"run", feed_.run_}}));
    greeted_ = true;
    if (state_ < feed_.state_number_) text += Message("state", "", feed_.state_);
    state_ = feed_.state_number_;
    for (next_ = std::max(next_, feed_.first_); next_ < end(); ++next_)
        text += feed_.kept_[next_ - feed_.first_];
    return text;
}

}  // namespace plug::bench
