// Local time, on a router whose time zone is set while the agent runs.
#include "core/clock.h"

#include <sys/mount.h>

#include "support/sandbox.h"

namespace plug::test {
namespace {

constexpr char kZoneFile[] = "/etc/localtime";
constexpr std::int64_t kNoon = 1709640000;  // 2024-03-05 12:00:00 UTC

class Zone : public Sandbox {
  protected:
    Zone() { unsetenv("TZ"); }

    /// Makes it the machine's zone, as a name in /usr/share/zoneinfo.
    static void Set(const std::string& name) {
        umount2(kZoneFile, MNT_DETACH);
        const std::string file = "/usr/share/zoneinfo/" + name;
        ASSERT_EQ(0, mount(file.c_str(), kZoneFile, nullptr, MS_BIND, nullptr)) << file;
    }
};

TEST_F(Zone, IsTheOneThatIsSetNow) {
    const struct {
        const char* zone;
        int hour;
        std::int64_t midnight;  // hours before noon in UTC
    } rows[] = {{"Etc/UTC", 12, 12}, {"Asia/Tokyo", 21, 21}, {"America/New_York", 7, 7}, {"Etc/UTC", 12, 12}};
    for (const auto& row : rows) {
        Set(row.zone);
        // The first midnight behind a change is already the new zone's.
        EXPECT_EQ(kNoon - row.midnight * 3600, LocalMidnight(kNoon)) << row.zone;
        EXPECT_EQ(row.hour, LocalCalendar(kNoon).hour) << row.zone;
    }
}

TEST_F(Zone, OfTheEnvironmentStays) {
    setenv("TZ", "XYZ-8", 1);
    Set("Asia/Tokyo");
    EXPECT_EQ(20, LocalCalendar(kNoon).hour);
    Set("America/New_York");
    EXPECT_EQ(20, LocalCalendar(kNoon).hour);
}

}  // namespace
}  // namespace plug::test
