/* SPDX-License-Identifier: MIT */
/* Saves with each system call failing in each way that it can: the file is whole all the same. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <string>
#include <vector>

#include "faults/failing_kernel.h"
#include "faults/faulty_device.h"

namespace {

using testing::AnyOf;
using testing::Eq;
using testing::HasSubstr;
using namespace vorn::tests;

constexpr char startup[] = "/etc/config/config.xml";

struct Fault {
    Call call;
    std::vector<int> errors;
};

/* Of a file that is written. */
const Fault faults[] = {
    {Call::write, {ENOSPC, EIO, EINTR, EROFS, short_transfer}},
    {Call::fsync, {EIO, ENOSPC, EINTR}},
    {Call::rename, {EIO, ENOSPC, EROFS}},
    {Call::open, {EMFILE, ENFILE, ENOMEM, ENOSPC, EROFS, EIO, EINTR}},
    {Call::close, {EIO, EINTR}},
    {Call::read, {EIO, EINTR, short_transfer}},
    {Call::unlink, {EIO, EROFS}},
    {Call::fork, {EAGAIN, ENOMEM}},
    {Call::wait, {EINTR}},
};

const std::set<Call> save_calls = {Call::write, Call::fsync, Call::rename,
                                   Call::open,  Call::close, Call::unlink};
const std::set<Call> copy_calls = {Call::write,  Call::fsync, Call::rename, Call::open, Call::close,
                                   Call::unlink, Call::read,  Call::fork,   Call::wait};

class FailingSaves : public FaultyDevice {
protected:
    void SetUp() override
    {
        FaultyDevice::SetUp();
        install_plugin("save.vorn");
        install_plugin("copies.vorn");
        boot({"-f"}, FailingKernel::stand_between);
        ask(insert_groups());
    }

    /* Enough for a document that takes more than one write. */
    static std::string insert_groups()
    {
        std::string groups;
        for (int i = 0; i < 100; i++)
            groups += "<Acl name=\"group" + std::to_string(i) + "\"><mac>00</mac></Acl>";
        return "<lsql><insert>" + groups + "</insert></lsql>";
    }

    /* After a fork that failed, SIGTERM ends the daemon at once until the next tick, on purpose. */
    void TearDown() override
    {
        if (daemon_pid() > 0) {
            EXPECT_TRUE(is_idle());
            kill(daemon_pid(), SIGKILL);
            EXPECT_EQ(exit_status(), -SIGKILL);
        }
        FaultyDevice::TearDown();
    }

    static std::string change(const std::string &label)
    {
        return "<lsql><write-transaction><update><Board><label>" + label +
               "</label></Board></update></write-transaction></lsql>";
    }

    std::string next_label() { return "l" + std::to_string(++labels_); }

    /*
     * The act with each call failing in each way, until it is over before its nth call comes. Those
     * that it makes are named: none of them may pass untried.
     */
    template <typename Act>
    void fail_each(const char *what, const std::set<Call> &made, const Act &act)
    {
        for (const Fault &fault : faults) {
            unsigned long tried = 0;
            for (const int error : fault.errors) {
                bool failed = true;
                for (unsigned long nth = 1; failed && nth < most_calls && !HasFailure(); nth++) {
                    SCOPED_TRACE(testing::Message()
                                 << name_of(fault.call) << " " << nth << ", error " << error);
                    failed = act(fault.call, nth, error);
                    tried += failed;
                }
            }
            EXPECT_EQ(tried > 0, made.count(fault.call) > 0) << what << " " << name_of(fault.call);
            if (tried == 0) continue;
            report(std::string(what) + ", " + name_of(fault.call), tried,
                   std::to_string(fault.errors.size()) + " ways to fail");
        }
    }

    bool fail_during(const std::string &request, Call call, unsigned long nth, int error)
    {
        new_messages();
        kernel_.fail(call, nth, error);
        EXPECT_TRUE(is_success(ask(request)));
        EXPECT_TRUE(is_idle());
        const bool failed = kernel_.stop();
        messages_ = new_messages();
        return failed;
    }

    bool says(const std::string &text) const { return messages_.find(text) != std::string::npos; }

    FailingKernel kernel_;
    std::string messages_;
    int labels_ = 0;
};

TEST_F(FailingSaves, LeaveTheOldStartupFileOrTheNewOneAndTellWhich)
{
    ask(change(next_label()));
    const std::string first = read_file(startup);
    const auto with = [&](const std::string &label) {
        std::string text = first;
        return text.replace(text.find(">l1<"), 4, ">" + label + "<");
    };

    fail_each("save of the startup file", save_calls, [&](Call call, unsigned long nth, int error) {
        const std::string before = read_file(startup);
        const std::string label = next_label();
        const bool failed = fail_during(change(label), call, nth, error);
        const std::string after = read_file(startup);

        EXPECT_THAT(after, AnyOf(Eq(before), Eq(with(label))));
        EXPECT_TRUE(after == with(label) || says("Can't open") || says("Can't write")) << messages_;
        EXPECT_TRUE(error != short_transfer || after == with(label));
        if (failed && call == Call::fsync) {
            EXPECT_TRUE(says("Can't flush") || says("Can't write")) << "not on the disk";
        }
        EXPECT_TRUE(call == Call::unlink || only_the_startup_file_is_there());

        const std::string next = next_label();
        ask(change(next));
        EXPECT_EQ(read_file(startup), with(next)) << "the next save";
        EXPECT_TRUE(only_the_startup_file_is_there());
        return failed;
    });
}

/* Whether header and document belong to each other. */
bool is_whole_default(const std::string &text, const std::string &digest)
{
    const auto end = text.find("\n\n");
    if (end == std::string::npos) return false;
    const std::string body = text.substr(end + 2);
    return text.find("Length: " + std::to_string(body.size()) + "\n") < end &&
           text.find("MD5sum: " + digest) < end;
}

class FailingCopies : public FailingSaves {
protected:
    static std::string copy(const std::string &what)
    {
        return "<lsql><update><Copies><" + what + ">now</" + what + "></Copies></update></lsql>";
    }

    static std::string digest_of_default()
    {
        return shell(std::string("sed '1,/^$/d' ") + default_file +
                     " | md5sum | cut -c1-32 | "
                     "tr -d '\\n'");
    }
};

TEST_F(FailingCopies, LeaveTheOldDefaultOrTheNewOneAndTellWhich)
{
    ask(copy("running-to-default"));
    ASSERT_TRUE(is_idle());

    fail_each("copy to the default file", copy_calls, [&](Call call, unsigned long nth, int error) {
        const std::string before = read_file(default_file);
        const std::string label = next_label();
        ask(change(label));
        const bool failed = fail_during(copy("running-to-default"), call, nth, error);
        const std::string after = read_file(default_file);
        const bool replaced = after.find(">" + label + "<") != std::string::npos;

        EXPECT_TRUE(replaced || after == before) << after;
        EXPECT_TRUE(is_whole_default(after, digest_of_default())) << after;
        EXPECT_TRUE(says("running-to-default 1\n") || (says("running-to-default 0\n") && replaced))
            << messages_;
        EXPECT_TRUE(call == Call::unlink || !exists(std::string(default_file) + ".new"));
        EXPECT_TRUE(!failed || call != Call::fsync || says("Can't")) << "not on the disk";
        return failed;
    });
    ask(change("last"));
    ask(copy("running-to-default"));
    ASSERT_TRUE(is_idle());
    EXPECT_THAT(read_file(default_file), HasSubstr(">last<"));
}

TEST_F(FailingCopies, OfTheDefaultLeaveAWholeStartupFile)
{
    ask(change("default"));
    ask(copy("running-to-default"));
    ASSERT_TRUE(is_idle());
    const std::string text = read_file(default_file);
    const std::string factory = text.substr(text.find("\n\n") + 2);
    const std::string rescue = read_file("/etc/rescueconfig.xml");

    fail_each("copy of the default to the startup file", copy_calls,
              [&](Call call, unsigned long nth, int error) {
                  ask(change(next_label()));
                  const std::string before = read_file(startup);
                  const bool failed = fail_during(copy("default-to-startup"), call, nth, error);
                  const std::string after = read_file(startup);

                  EXPECT_TRUE(after == factory || says("default-to-startup 1\n")) << messages_;
                  EXPECT_THAT(after, AnyOf(Eq(factory), Eq(rescue), Eq(before)));
                  return failed;
              });
}

/* A list of plugins from when /etc could not be written; now it can. */
class FailingLists : public FaultyDevice {
protected:
    static constexpr char list_[] = "/etc/vorn-plugins";
    static constexpr char list_beside_startup_[] = "/etc/config/vorn-plugins";

    void SetUp() override
    {
        FaultyDevice::SetUp();
        install_plugin("save.vorn");
        install_plugin("copies.vorn");
    }
};

TEST_F(FailingLists, AreReplacedWhereTheyCannotBeRemoved)
{
    bool failed = true;
    unsigned long tried = 0;
    for (unsigned long nth = 1; failed && nth < most_calls && !HasFailure(); nth++) {
        std::filesystem::remove(list_);
        write_file(list_beside_startup_, "save.vorn\n");
        FailingKernel kernel;
        kernel.fail(Call::unlink, nth, EIO);
        boot({"-f"}, FailingKernel::stand_between);
        ask("<lsql><write-transaction><update><Board><label>x</label></Board></update>"
            "</write-transaction></lsql>");
        failed = kernel.stop();
        tried += failed;
        shut_down();

        const bool is_beside = exists(list_beside_startup_);
        EXPECT_THAT(read_file(is_beside ? list_beside_startup_ : list_), HasSubstr("board.vorn\n"));
    }
    EXPECT_GE(tried, 1u);
    report("list of plugins that moves, unlink", tried, "1 way to fail");
}

} // namespace
