// The access windows of the devices, in memory: a hash table of 512 chained buckets from a key, "MAC|weekday
// digit", to a list of time windows.
//
// The command thread changes the table, the scheduler reads it: everything here but the list functions needs
// SurfRuleMutex. Who needs SubdevMutex too takes that one first.
#pragma once

#include <array>
#include <string_view>

#include "core/sync.h"

namespace plug {

/// From start to stop of one day, both minutes included. One that stops before it starts never matches.
struct AccessWindow {
    int start_hour = 0;
    int start_minute = 0;
    int stop_hour = 0;
    int stop_minute = 0;

    bool operator==(const AccessWindow&) const = default;
};

/// A list of different windows in the order of their arrival; the head owns the rest.
struct RuleNode {
    AccessWindow window;
    RuleNode* next = nullptr;
};

/// A new node in front of `list`; null without a window or without memory.
RuleNode* rule_node_init(RuleNode* list, const AccessWindow* window);
/// 1 when the list has the window, 0 when not, -1 for an empty list.
int rule_node_exist(const RuleNode* list, const AccessWindow& window);
/// Appends the window unless the list has it. The list's head.
RuleNode* rule_node_insert(RuleNode* list, const AccessWindow* window);
/// Removes the window. The list's head, null when it is now empty.
RuleNode* rule_node_delete(RuleNode* list, const AccessWindow* window);
void rule_node_destroy(RuleNode* list);
/// 1 when a window holds the time, 0 when none does, -1 for an empty list.
int rule_node_match(const RuleNode* list, int hour, int minute);

struct RuleEntry {
    char* key = nullptr;  // its own copy
    RuleNode* windows = nullptr;
    RuleEntry* next = nullptr;  // in the bucket
};

/// "MAC|day"; the MAC as it was sent.
constexpr std::size_t kRuleKeySize = 256;
constexpr std::size_t kLongestRuleMac = kRuleKeySize - 3;
using RuleKey = std::array<char, kRuleKeySize>;
RuleKey MakeRuleKey(const char* mac, int day);

constexpr std::size_t kRuleBuckets = 512;

Mutex& SurfRuleMutex();

/// Empties the table and begins counting anew.
void hash_table_init() PLUG_CHECKED(requires_capability(SurfRuleMutex()));
/// Adds a key with its first window. Refused for a key that exists, and from the 513th insertion on: what was
/// removed since hash_table_init counts too.
void hash_table_insert(std::string_view key, const AccessWindow& window)
    PLUG_CHECKED(requires_capability(SurfRuleMutex()));
/// The first entry of the key's bucket whose key begins the given one, or null.
RuleEntry* hash_table_lookup(std::string_view key) PLUG_CHECKED(requires_capability(SurfRuleMutex()));
/// Removes the entry with exactly this key.
void hash_table_remove(std::string_view key) PLUG_CHECKED(requires_capability(SurfRuleMutex()));
/// The first entry of a bucket, or null.
const RuleEntry* hash_table_bucket(std::size_t bucket) PLUG_CHECKED(requires_capability(SurfRuleMutex()));
/// Frees every entry.
void hash_table_destroy() PLUG_CHECKED(requires_capability(SurfRuleMutex()));

}  // namespace plug
