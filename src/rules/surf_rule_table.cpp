#include "rules/surf_rule_table.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "core/log.h"

namespace plug {
namespace {

constexpr char kLogModule[] = "eaccess.c";

constexpr int kMostInsertions = 512;

struct TableState {
    Mutex mutex;
    std::array<RuleEntry*, kRuleBuckets> buckets PLUG_CHECKED(guarded_by(SurfRuleMutex())){};
    int insertions PLUG_CHECKED(guarded_by(SurfRuleMutex())) = 0;  // since the last hash_table_init
};
constinit TableState state;

std::size_t BucketOf(std::string_view key) {
    // Every character counts with its sign.
    std::uint32_t hash = 0;
    for (const char c : key) hash = hash * 31 + static_cast<std::uint32_t>(static_cast<signed char>(c));
    return hash & (kRuleBuckets - 1);
}

void Free(RuleEntry* entry) {
    rule_node_destroy(entry->windows);
    free(entry->key);
    delete entry;
}

/// A new entry in front of `next`; null without memory.
RuleEntry* MakeEntry(std::string_view key, const AccessWindow& window, RuleEntry* next) {
    auto* const entry = new (std::nothrow) RuleEntry;
    if (entry == nullptr) return nullptr;
    entry->key = strndup(key.data(), key.size());
    entry->windows = rule_node_init(nullptr, &window);
    entry->next = next;
    if (entry->key != nullptr && entry->windows != nullptr) return entry;
    Free(entry);
    return nullptr;
}

std::int64_t MinuteOfDay(int hour, int minute) {
    return std::int64_t{60} * hour + minute;
}

}  // namespace

RuleNode* rule_node_init(RuleNode* list, const AccessWindow* window) {
    const LogAuthor author(__func__);
    if (window == nullptr) {
        PLUG_LOG(kErr, "rule empty! ");
        return nullptr;
    }
    auto* const node = new (std::nothrow) RuleNode{*window, list};
    if (node == nullptr) PLUG_LOG(kErr, "no memory for a rule");
    return node;
}

int rule_node_exist(const RuleNode* list, const AccessWindow& window) {
    const LogAuthor author(__func__);
    if (list == nullptr) {
        PLUG_LOG(kErr, "rules empty! ");
        return -1;
    }
    for (const RuleNode* node = list; node != nullptr; node = node->next) {
        if (node->window != window) continue;
        PLUG_LOG(kInfo, "surf rule exist ");
        return 1;
    }
    return 0;
}

RuleNode* rule_node_insert(RuleNode* list, const AccessWindow* window) {
    const LogAuthor author(__func__);
    if (list == nullptr) return rule_node_init(nullptr, window);
    if (window == nullptr) {
        PLUG_LOG(kErr, "rule empty! ");
        return list;
    }
    if (rule_node_exist(list, *window) == 1) return list;
    RuleNode* tail = list;
    while (tail->next != nullptr) tail = tail->next;
    tail->next = rule_node_init(nullptr, window);
    return list;
}

RuleNode* rule_node_delete(RuleNode* list, const AccessWindow* window) {
    const LogAuthor author(__func__);
    if (window == nullptr) {
        PLUG_LOG(kErr, "rule is nothing! ");
        return list;
    }
    if (list == nullptr) {
        PLUG_LOG(kErr, "pNode is empty! ");
        return nullptr;
    }
    for (RuleNode** link = &list; *link != nullptr; link = &(*link)->next) {
        if ((*link)->window != *window) continue;
        RuleNode* const removed = *link;
        *link = removed->next;
        delete removed;
        PLUG_LOG(kInfo, "delete node done! ");
        return list;
    }
    PLUG_LOG(kInfo, "can't find node! ");
    return list;
}

void rule_node_destroy(RuleNode* list) {
    while (list != nullptr) {
        RuleNode* const next = list->next;
        delete list;
        list = next;
    }
}

int rule_node_match(const RuleNode* list, int hour, int minute) {
    const LogAuthor author(__func__);
    if (list == nullptr) {
        PLUG_LOG(kErr, "rules empty! ");
        return -1;
    }
    const std::int64_t now = MinuteOfDay(hour, minute);
    for (const RuleNode* node = list; node != nullptr; node = node->next) {
        const AccessWindow& window = node->window;
        if (now < MinuteOfDay(window.start_hour, window.start_minute) ||
            now > MinuteOfDay(window.stop_hour, window.stop_minute))
            continue;
        PLUG_LOG(kDebug, "surf rule match %d:%d - %d:%d", window.start_hour, window.start_minute,
                 window.stop_hour, window.stop_minute);
        return 1;
    }
    return 0;
}

RuleKey MakeRuleKey(const char* mac, int day) {
    RuleKey key{};
    snprintf(key.data(), key.size(), "%s|%d", mac, day);
    return key;
}

Mutex& SurfRuleMutex() {
    return state.mutex;
}

void hash_table_init() {
    const LogAuthor author(__func__);
    hash_table_destroy();
    state.insertions = 0;
    PLUG_LOG(kInfo, "Rule table init done.");
}

void hash_table_insert(std::string_view key, const AccessWindow& window) {
    const LogAuthor author(__func__);
    if (state.insertions >= kMostInsertions) {
        PLUG_LOG(kDebug, "Mem overflow!");
        return;
    }
    RuleEntry*& bucket = state.buckets[BucketOf(key)];
    for (const RuleEntry* entry = bucket; entry != nullptr; entry = entry->next) {
        if (entry->key != key) continue;
        PLUG_LOG(kDebug, "%s exist!", entry->key);
        return;
    }
    RuleEntry* const entry = MakeEntry(key, window, bucket);
    if (entry == nullptr) return;
    bucket = entry;
    ++state.insertions;
}

RuleEntry* hash_table_lookup(std::string_view key) {
    const LogAuthor author(__func__);
    const std::size_t bucket = BucketOf(key);
    for (RuleEntry* entry = state.buckets[bucket]; entry != nullptr; entry = entry->next) {
        if (!key.starts_with(entry->key)) continue;
        PLUG_LOG(kDebug, "found %zu  %.*s", bucket, static_cast<int>(key.size()), key.data());
        return entry;
    }
    return nullptr;
}

void hash_table_remove(std::string_view key) {
    const LogAuthor author(__func__);
    PLUG_LOG(kDebug, "remove %.*s", static_cast<int>(key.size()), key.data());
    for (RuleEntry** link = &state.buckets[BucketOf(key)]; *link != nullptr; link = &(*link)->next) {
        if ((*link)->key != key) continue;
        RuleEntry* const removed = *link;
        *link = removed->next;
        Free(removed);
        return;
    }
}

const RuleEntry* hash_table_bucket(std::size_t bucket) {
    return state.buckets[bucket];
}

void hash_table_destroy() {
    for (RuleEntry*& bucket : state.buckets) {
        while (bucket != nullptr) {
            RuleEntry* const next = bucket->next;
            Free(bucket);
            bucket = next;
        }
    }
}

}  // namespace plug
