/* SPDX-License-Identifier: MIT */
/* Boots of a daemon whose memory ends at each place where it could. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <string>
#include <vector>

#include <sys/wait.h>

#include "faults/scarce_device.h"

namespace {

using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using namespace vorn::tests;

class Boots : public ScarceDevice {
protected:
    void SetUp() override
    {
        ScarceDevice::SetUp();
        if (IsSkipped()) return;
        std::filesystem::remove(std::string(vorn::test::plugin_folder) + "board.vorn");
        install_plugin("careful.vorn");
        files_ = {read_file(vorn::test::startup_file)};
    }

    /* Whether it came so far as to serve, rather than ending. */
    bool start_with_refusal(unsigned long nth, const std::vector<std::string> &options)
    {
        write_file(vorn::test::error_file, "");
        if (is_new_device_) std::filesystem::remove(vorn::test::startup_file);
        memory_.refuse(nth);
        start(options);
        bool ended = false;
        const auto has_ended = [&] {
            siginfo_t state = {};
            waitid(P_PID, static_cast<id_t>(daemon_pid()), &state, WEXITED | WNOHANG | WNOWAIT);
            ended = state.si_pid != 0;
            return ended;
        };
        EXPECT_TRUE(comes_true([&] {
            return has_ended() || log().find("Initialization complete.") != std::string::npos;
        }));
        /* Whoever asks whether it is idle may be the one for whom there is no memory. */
        const auto goes_on = [] { return is_idle() || has_no_door(); };
        const bool went_on = !ended && goes_on();
        refused_ = memory_.stop_refusing();
        EXPECT_TRUE(ended || (went_on && goes_on()) || comes_true(has_ended)) << log();
        return !ended;
    }

    /* Without the memory to open the console, the log goes to standard error. */
    static std::string log() { return console() + standard_error(); }

    /* A start that found no memory for the clients' door goes on without it. */
    static bool has_no_door()
    {
        return log().find("Unable to initialize socket API.") != std::string::npos;
    }

    /* The plugin failed; what it did not describe is none of the daemon's. */
    static bool is_short_of_a_class()
    {
        const std::string said = log();
        return said.find("careful: no memory") != std::string::npos ||
               said.find("Classes were invalid.") != std::string::npos ||
               said.find("unknown class") != std::string::npos ||
               said.find("is not valid for class") != std::string::npos;
    }

    /* What is not served has been reported, and nothing is saved without being asked. */
    void expect_an_honest_start(const std::string &whole, const std::string &usual_log)
    {
        const std::string served = configuration();
        const std::string said = log();
        EXPECT_TRUE(served == whole || said != usual_log) << "lost in silence: " << served;
        EXPECT_THAT(said, AnyOf(Not(HasSubstr("No memory for the configuration.")),
                                HasSubstr("Unable to read config.")));
        lacking_ += served != whole;
        EXPECT_THAT(files_, Contains(read_file(vorn::test::startup_file)));
        EXPECT_TRUE(only_the_startup_file_is_there() || std::filesystem::is_empty("/etc/config"));
    }

    /* Without a door nobody can tell when a start is over, until when SIGTERM may just end it. */
    void end()
    {
        if (!has_no_door()) return shut_down();
        kill(daemon_pid(), SIGKILL);
        EXPECT_EQ(exit_status(), -SIGKILL);
    }

    /* Calls that judge each start; they are given what a start with enough memory shows. */
    template <typename Judge>
    void refuse_each(const std::vector<std::string> &options, const std::string &title,
                     const Judge &judge)
    {
        ASSERT_TRUE(start_with_refusal(0, options));
        const std::string whole = configuration();
        const std::string usual_log = log();
        shut_down();

        unsigned long nth = 1;
        for (refused_ = true; refused_ && nth < most_allocations && !HasFailure(); nth++) {
            SCOPED_TRACE(testing::Message() << "refusing allocation " << nth);
            const bool serves = start_with_refusal(nth, options);
            if (serves) {
                expect_an_honest_start(whole, usual_log);
                end();
            }
            judge(serves);
        }
        constexpr unsigned long least = 80; /* every boot makes tables and opens doors */
        EXPECT_GE(nth - 2, least) << title;
        report(title, nth - 2,
               std::to_string(lacking_) + " starts lacked something and said so, " +
                   std::to_string(ended_) + " ended");
    }

    /* What the startup file may hold, "" if it need not be there. */
    std::vector<std::string> files_;
    bool is_new_device_ = false;
    bool refused_ = false;
    int lacking_ = 0, ended_ = 0;
};

TEST_F(Boots, ShortOfMemoryServeAndSayWhatTheyLack)
{
    refuse_each({"-f"}, "boot", [](bool serves) { EXPECT_TRUE(serves); });
}

/* Names and values of what the startup file holds, without the label that is about to change. */
const std::vector<std::string> pieces = {
    "<label>",         "<Radio name=\"r0\">",   "<Radio name=\"r1\">", "<mode>g</mode>",
    "<mode>ac</mode>", "<channel>36</channel>", "<to>lan</to>",        "<mac>01</mac>",
    "<mac>02</mac>",   "<kind>Static</kind>",   "<ip>10.0.0.1</ip>",
};

class SavingBoots : public Boots {
protected:
    void SetUp() override
    {
        Boots::SetUp();
        if (!IsSkipped()) install_plugin("save.vorn");
    }

    /* What the file holds after a boot that lacked memory, and a change. */
    template <typename Judge>
    void save_after_each_refusal(const std::string &title, const Judge &judge)
    {
        ASSERT_TRUE(start_with_refusal(0, {"-f"}));
        shut_down();

        unsigned long nth = 1;
        int saved = 0, refused = 0;
        for (refused_ = true; refused_ && nth < most_allocations && !HasFailure(); nth++) {
            SCOPED_TRACE(testing::Message() << "refusing allocation " << nth);
            start_with_refusal(nth, {"-f"});
            const std::string label = "after " + std::to_string(nth);
            ask("<lsql><write-transaction><update><Board><label>" + label +
                "</label></Board></update><insert><Radio name=\"new\"/></insert>"
                "</write-transaction></lsql>");
            const std::string file = read_file(vorn::test::startup_file);
            saved += file.find(label) != std::string::npos;
            refused += log().find("Not saving: ") != std::string::npos;
            judge(file);
            end();
            write_file(vorn::test::startup_file, files_.front());
        }
        EXPECT_GT(saved, 0);
        EXPECT_GT(refused, 0);
        report(title, nth - 2,
               std::to_string(saved) + " were saved, " + std::to_string(refused) + " refused");
    }
};

TEST_F(SavingBoots, ShortOfMemorySaveNothingThatLacksWhatTheFileHas)
{
    int begun_anew = 0;
    save_after_each_refusal("boot and a change that is saved", [&](const std::string &file) {
        for (const std::string &piece : pieces)
            EXPECT_THAT(file, HasSubstr(piece)) << log();
        if (log().find("No memory for the configuration.") == std::string::npos) return;
        EXPECT_THAT(configuration(), HasSubstr("\"new\"")) << "what it began with is served";
        begun_anew++;
    });
    EXPECT_GT(begun_anew, 0);
}

/* Of a class that has another property by now, of one that is gone, and a value that is unknown. */
TEST_F(SavingBoots, ShortOfMemoryLoseNothingOfAnEarlierVersion)
{
    install_plugin("versions.vorn");
    const std::filesystem::path folder = vorn::test::plugin_folder;
    std::filesystem::rename(folder / "versions.vorn", folder / "wlan-2.vorn");
    files_ = {
        "<?xml version=\"1.0\"?>\n<?vorn-schema wlan=\"1\"?>\n<config><Board/><Wlan name=\"w\">"
        "<chan>6</chan><odd>9</odd></Wlan><Toaster><slots>2</slots></Toaster></config>\n"};
    write_file(vorn::test::startup_file, files_.front());

    save_after_each_refusal("boot of an earlier version and a change", [](const std::string &file) {
        EXPECT_THAT(file, AllOf(HasSubstr("<odd>9</odd>"), HasSubstr("<slots>2</slots>"),
                                AnyOf(HasSubstr("<chan>6</chan>"), HasSubstr("<channel>6</"))))
            << log();
        EXPECT_THAT(file, HasSubstr(file.find("<chan>") == std::string::npos
                                        ? "<?vorn-schema wlan=\"2\"?>"
                                        : "<?vorn-schema wlan=\"1\"?>"))
            << "else it would be taken for what it is not";
    });
}

/* With the allocation refused that some part of the configuration needed. */
TEST_F(Boots, ShortOfMemorySaveAgainOnceALoadIsWhole)
{
    for (const char *plugin : {"save.vorn", "copies.vorn"})
        install_plugin(plugin);
    const auto change = [](const std::string &label) {
        ask("<lsql><update><Board><label>" + label + "</label></Board></update></lsql>");
        return read_file(vorn::test::startup_file);
    };
    const auto copy = [](const std::string &what) {
        ask("<lsql><update><Copies><" + what + ">now</" + what + "></Copies></update></lsql>");
        return is_idle();
    };
    unsigned long nth = 1;
    for (bool lacks = false; !lacks; nth++) {
        ASSERT_LT(nth, most_allocations);
        if (nth > 1) end();
        start_with_refusal(nth, {"-f"});
        lacks = log().find("Skipping instance") != std::string::npos && !is_short_of_a_class();
    }
    ASSERT_EQ(change("lost"), files_.front());
    EXPECT_TRUE(console_shows("Not saving: the configuration was not loaded whole for want of "
                              "memory.\n"));

    EXPECT_TRUE(copy("running-to-default"));
    EXPECT_TRUE(console_shows("copies: running-to-default 1\n"));
    EXPECT_FALSE(exists("/etc/defaultconfig.xml"));

    EXPECT_TRUE(copy("startup-to-running"));
    EXPECT_TRUE(console_shows("copies: startup-to-running 0\n"));
    const std::string saved = change("kept");
    EXPECT_THAT(saved, HasSubstr("<label>kept</label>"));
    for (const std::string &piece : pieces)
        EXPECT_THAT(saved, HasSubstr(piece));
}

TEST_F(Boots, ShortOfMemoryOnANewDeviceTakeTheDefaultOrTheRescueOrSayWhatTheyLack)
{
    const std::string factory = "<config><Board><label>factory</label></Board></config>\n";
    write_file("/tmp/factory", factory);
    write_file("/etc/defaultconfig.xml",
               "Version: 1\nLength: " + std::to_string(factory.size()) +
                   "\nMD5sum: " + shell("md5sum < /tmp/factory | cut -c1-32") + "\n" + factory);
    files_ = {factory, read_file("/etc/rescueconfig.xml"), ""};
    is_new_device_ = true;

    refuse_each({"-f"}, "boot of a new device", [](bool serves) { EXPECT_TRUE(serves); });
}

TEST_F(Boots, ShortOfMemoryEndWithTheReasonWhenFatalErrorsEndThem)
{
    refuse_each({"-f", "-e"}, "boot that ends on fatal errors", [this](bool serves) {
        if (serves) return;
        EXPECT_EQ(exit_status(), 1);
        EXPECT_THAT(log(), HasSubstr("vorn: Fatal error: "));
        EXPECT_THAT(log(), HasSubstr("vorn: Exiting due to fatal error.\n"));
        ended_++;
    });
}

} // namespace
