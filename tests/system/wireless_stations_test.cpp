/* SPDX-License-Identifier: MIT */
/* Who is associated, and who is sent away. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "access_points.h"

namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using vorn::tests::AccessPoints;

class Stations : public AccessPoints {
protected:
    static std::string stations()
    {
        return lsql("<lsql><select><station properties=\"all\"/></select></lsql>");
    }
};

TEST_F(Stations, AreThoseThatAreAssociatedNow)
{
    boot_and_forget();
    EXPECT_THAT(stations(), HasSubstr("<dataset/>"));
    EXPECT_THAT(commands_run(),
                UnorderedElementsAre("iw dev wlan0 station dump", "iw dev wlan0_1 station dump"));
    change("<delete><wireless-network name=\"guests\"/></delete>");

    write_file("/tmp/stations", "Station 02:00:00:00:01:00 (on wlan0)\n"
                                "\tinactive time:\t304 ms\n\trx bytes:\t18816\n\ttx bytes:\t5548\n"
                                "\tsignal:  \t-30 [-30, -31] dBm\n\ttx bitrate:\t54.0 MBit/s\n"
                                "\trx bitrate:\t1.0 MBit/s\n\tconnected time:\t3 seconds\n"
                                "Station 02:00:00:00:02:00 (on wlan0)\n\tnothing:\tknown\n");

    EXPECT_THAT(stations(),
                HasSubstr("<dataset><station><mac>02:00:00:00:01:00</mac><network>home</network>"
                          "<signal>-30</signal><rx-rate>1.0</rx-rate><tx-rate>54.0</tx-rate>"
                          "<rx-bytes>18816</rx-bytes><tx-bytes>5548</tx-bytes>"
                          "<connected>3</connected><unknown/></station><station>"
                          "<mac>02:00:00:00:02:00</mac><network>home</network>"));
}

constexpr char nobody_known[] = "<station><mac/><network>home</network><signal/><rx-rate/>"
                                "<tx-rate/><rx-bytes/><tx-bytes/><connected/><unknown>";

TEST_F(Stations, AreUnknownWhenIwFails)
{
    stand_in("iw", "echo 'command failed: No such device (-19)' >&2; exit 237");
    boot_and_forget();

    EXPECT_THAT(stations(),
                HasSubstr(nobody_known + std::string("iw: command failed: No such device (-19)<")));
}

TEST_F(Stations, KeepNobodyWaitingForAnIwThatHangs)
{
    boot_and_forget();
    stand_in("iw", "while :; do sleep 0.02; done");

    EXPECT_THAT(stations(), HasSubstr(nobody_known + std::string("iw: no answer within 1000 ms<")));
    const auto asked = commands_run();
    EXPECT_LE(asked.size(), 2u); /* who is slow to start is ended before */

    EXPECT_THAT(stations(),
                HasSubstr(nobody_known + std::string("iw gave no answer when it was asked last<")));
    EXPECT_EQ(commands_run(), asked);
}

TEST_F(Stations, AreNotAskedForWhileNothingIsOnTheAir)
{
    boot_and_forget();
    change("<update><radio><status>down</status></radio></update>");

    EXPECT_THAT(stations(), HasSubstr("<dataset/>"));

    EXPECT_THAT(commands_run(), IsEmpty());
}

/* hostapd's socket for an interface, which knows one station. */
class Control {
public:
    explicit Control(const std::string &interface)
    {
        std::filesystem::create_directories("/var/run/vorn-hostapd");
        sockaddr_un address{.sun_family = AF_UNIX, .sun_path = {}};
        const std::string path = "/var/run/vorn-hostapd/" + interface;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        bind(socket_, reinterpret_cast<const sockaddr *>(&address), sizeof address);
        thread_ = std::thread([this] { serve(); });
    }
    Control(const Control &) = delete;
    ~Control()
    {
        shutdown(socket_, SHUT_RDWR);
        thread_.join();
        close(socket_);
    }

    std::string questions;

private:
    void serve()
    {
        char question[128];
        sockaddr_un asker{};
        for (;;) {
            socklen_t size = sizeof asker;
            const ssize_t count = recvfrom(socket_, question, sizeof question, 0,
                                           reinterpret_cast<sockaddr *>(&asker), &size);
            if (count <= 0) return;
            const std::string text(question, static_cast<std::size_t>(count));
            questions += text + "\n";
            const std::string answer = text == "STA 02:00:00:00:01:00"
                                           ? "02:00:00:00:01:00\nflags=\n"
                                       : text.starts_with("STA") ? "FAIL\n"
                                                                 : "OK\n";
            sendto(socket_, answer.data(), answer.size(), 0,
                   reinterpret_cast<const sockaddr *>(&asker), size);
        }
    }

    int socket_ = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    std::thread thread_;
};

TEST_F(Stations, AreSentAwayFromWhereverTheyAre)
{
    Control control("wlan0_1");
    boot_and_forget();

    /* A hostapd on a busy machine may be too late, and is asked again. */
    EXPECT_TRUE(comes_true([] { return inform("kick", {"station=02:00:00:00:01:00"}) == "OK\n"; }));
    EXPECT_THAT(control.questions,
                EndsWith("STA 02:00:00:00:01:00\nDEAUTHENTICATE 02:00:00:00:01:00\n"));

    EXPECT_NE(inform("kick", {"station=02:00:00:00:02:00"}), "OK\n");
    EXPECT_NE(inform("kick", {"station=x"}), "OK\n");
    EXPECT_NE(inform("kick"), "OK\n");
    EXPECT_EQ(control.questions.substr(control.questions.size() - 22), "STA 02:00:00:00:02:00\n");
}

/* The client says why, though the plugin answers yes or no. */
TEST_F(Stations, ThatAreNotSentAwayAreToldTheClientWithTheReason)
{
    const auto kick = [](const std::string &station) {
        return shell("vornctl kick " + station + " 2>&1; echo $?");
    };
    install_plugin("schema.vorn");
    boot_and_forget();
    write_file("/tmp/stations", "Station 02:00:00:00:03:00 (on wlan0)\n");

    const auto tells = [&](const std::string &station, const std::string &wanted) {
        return comes_true([&] { return kick(station) == wanted; }) << kick(station);
    };
    EXPECT_EQ(kick("x"), "vornctl: \"x\" is no MAC address such as 02:00:00:00:00:01\n2\n");
    EXPECT_TRUE(
        tells("02:00:00:00:02:00", "vornctl: no station 02:00:00:00:02:00 has joined\n5\n"));
    EXPECT_TRUE(tells("02:00:00:00:03:00",
                      "vornctl: the device refused to send that station away: hostapd did not do "
                      "it; the station is still there\n1\n"));
    Control control("wlan0_1");
    write_file("/tmp/stations", "Station 02:00:00:00:01:00 (on wlan0_1)\n");
    EXPECT_TRUE(tells("02:00:00:00:01:00", "0\n"));

    stand_in("iw", "exit 1");
    EXPECT_EQ(
        kick("02:00:00:00:02:00"),
        "vornctl: the device refused to send that station away: hostapd did not do it, or the "
        "station is not there\n1\n");
}

} // namespace
