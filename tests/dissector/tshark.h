// A capture that a test makes, and what tshark with the dissector sees in it.
#pragma once

#include <gtest/gtest.h>

#include <optional>

#include "bench/capture.h"
#include "bench/layout.h"
#include "bench/process.h"

namespace plug::dissector {

using namespace plug::bench;  // NOLINT: the tests are written in its words

using Row = std::vector<std::string>;  // a packet's fields
using Rows = std::vector<Row>;

/// The key of the captures, which is the dissector's own when it is not told another.
inline const CipherKey kKey = MakeKey("0123456789abcdef");

/// Every packet must be dissected without an error of Lua's.
class DissectorTest : public testing::Test {
  protected:
    DissectorTest();
    void TearDown() override;

    // --- the capture ---

    /// What passes on the platform's connection, by default one at the usual port.
    void Up(ConstBytes bytes) { Note(platform_, Passage::kFromAgent, bytes); }
    void Down(ConstBytes bytes) { Note(platform_, Passage::kToAgent, bytes); }
    void LocalUp(ConstBytes bytes) { Note({Socket::kLocal, 1}, Passage::kFromAgent, bytes); }
    void LocalDown(ConstBytes bytes) { Note({Socket::kLocal, 1}, Passage::kToAgent, bytes); }
    void Note(const Wire& wire, Passage kind, ConstBytes bytes) { capture_->Note({wire, kind, bytes}); }

    // --- what is seen ---

    /// The fields of the packets that the filter lets through; several values of one field have commas
    /// between them.
    Rows Fields(const std::string& filter, const Row& fields, const Row& options = {}) const;
    /// The info column of every packet with bytes.
    std::vector<std::string> Infos(const Row& options = {}) const;
    /// Sequence numbers and checksums as Wireshark wants them.
    void ExpectSoundTcp() const;
    /// All packets as tshark's JSON has them.
    Json Packets() const;
    /// Runs a tool of Wireshark's; its standard output.
    std::string Run(const Row& words) const;

    TemporaryFolder folder_;
    std::string file_ = folder_.path() + "/capture.pcapng";
    std::optional<Capture> capture_;
    Wire platform_;
    std::string before_;  // Lua that runs before the dissector is loaded

  private:
    Row Tshark(const Row& options) const;
};

}  // namespace plug::dissector
