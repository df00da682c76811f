/* SPDX-License-Identifier: MIT */
/* Requests to a running daemon whose memory ends at each place where it could. */
#include "support/raw_client.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <string>

#include "faults/scarce_device.h"

namespace {

using testing::AnyOf;
using testing::Eq;
using namespace vorn::tests;

struct Scenario {
    const char *name;
    const char *title;
    /* The change, and what takes it back; a request without one changes nothing. */
    std::string request;
    std::string undo;
    /* Whether each change is saved. */
    bool saves;
};

std::string transaction(const std::string &operations)
{
    return "<lsql><write-transaction>" + operations + "</write-transaction></lsql>";
}

std::string request(const std::string &operations)
{
    return "<lsql>" + operations + "</lsql>";
}

const std::string select_radios = "<select><Radio properties=\"all\"/></select>";
const std::string scan = "<select><Radio><mode/></Radio><where><or>"
                         "<eq><property>channel</property><value>36</value></eq>"
                         "<eq><property>mode</property><value>g</value></eq>"
                         "</or></where></select>";
const std::string insert = "<insert><Radio name=\"r2\"><channel>6</channel></Radio></insert>";
const std::string delete_inserted = "<delete><Radio name=\"r2\"/></delete>";
const std::string delete_last = "<delete><Radio name=\"r1\"/></delete>";
const std::string insert_last = "<insert><Radio name=\"r1\"><channel>36</channel>"
                                "<mode>ac</mode></Radio></insert>";
const std::string update = "<update><Board><label>cellar</label></Board></update>";
const std::string restore = "<update><Board><label>roof</label></Board></update>";

const std::string begin_trial = "<update><trial><seconds>600</seconds></trial></update>";
const std::string revert = "<update><trial><revert>now</revert></trial></update>";

const Scenario scenarios[] = {
    {"Select", "select", request(select_radios), "", false},
    {"WhereScan", "select with a where expression", request(scan), "", false},
    {"Insert", "insert", request(insert), request(delete_inserted), false},
    {"Update", "update", request(update), request(restore), false},
    {"Delete", "delete", request(delete_last), request(insert_last), false},
    {"WriteTransaction", "write transaction of three operations",
     transaction(insert + update + delete_last),
     transaction(delete_inserted + restore + insert_last), false},
    {"PlainSave", "update that is saved", request(update), request(restore), true},
    {"Explanation", "explanation of three operations",
     "<explain>" + insert + update + delete_last + "</explain>", "", true},
    {"SavedTransaction", "write transaction that is saved", transaction(insert + update),
     transaction(delete_inserted + restore), true},
    {"Trial", "write transaction on trial", transaction(insert + update + begin_trial),
     transaction(revert), true},
    {"TakingBack", "trial that is taken back", transaction(revert),
     transaction(insert + update + begin_trial), true},
};

void PrintTo(const Scenario &scenario, std::ostream *stream)
{
    *stream << scenario.title;
}

class Requests : public ScarceDevice, public testing::WithParamInterface<Scenario> {
protected:
    void SetUp() override
    {
        ScarceDevice::SetUp();
        if (IsSkipped()) return;
        if (GetParam().saves) install_plugin("save.vorn");
        if (GetParam().request.find("trial") != std::string::npos) install_plugin("trial.vorn");
        boot();
        learn();
    }

    /* What there is before and after the change, and what a change that succeeds leaves behind. */
    void learn()
    {
        ask_with_refusal(0);
        take_back();
        old_ = configuration();
        old_file_ = read_file(vorn::test::startup_file);
        success_ = ask_with_refusal(0);
        new_ = configuration();
        new_file_ = read_file(vorn::test::startup_file);
        take_back();
        ASSERT_TRUE(is_success(success_)) << success_;
        ASSERT_EQ(configuration(), old_);
        learn_what_is_kept();
    }

    /* The doors' beat may end between two counts, so that one round kept less than the others. */
    void learn_what_is_kept()
    {
        constexpr int rounds = 4;
        for (int i = 0; i < rounds; i++) {
            const long live = settled();
            ask_with_refusal(0);
            configuration(); /* what is read in between is left behind, too */
            take_back();
            configuration();
            kept_ = std::max(kept_, settled() - live);
        }
    }

    std::string ask_with_refusal(unsigned long nth)
    {
        memory_.refuse(nth);
        const std::string answer = ask(GetParam().request);
        EXPECT_TRUE(is_idle());
        refused_ = memory_.stop_refusing();
        return answer;
    }

    void take_back()
    {
        if (!GetParam().undo.empty()) ask(GetParam().undo);
    }

    bool is_transaction() const
    {
        return GetParam().request.find("write-transaction") != std::string::npos;
    }

    /* The answer tells the truth; of a plain request it may be missing although all was done. */
    void expect_truth(const std::string &answer, bool changed)
    {
        if (GetParam().undo.empty()) {
            EXPECT_THAT(answer, AnyOf(Eq(success_), Eq("")));
        } else if (is_success(answer)) {
            EXPECT_EQ(answer, success_);
            EXPECT_TRUE(changed);
        } else if (is_transaction()) {
            EXPECT_FALSE(changed);
        }
    }

    void expect_whole_files(bool changed)
    {
        const std::string file = read_file(vorn::test::startup_file);
        EXPECT_TRUE(only_the_startup_file_is_there());
        EXPECT_THAT(file, AnyOf(Eq(old_file_), Eq(new_file_)));
        EXPECT_TRUE(changed || file == old_file_);
    }

    /* Whether there was anything left to refuse. */
    bool try_once(unsigned long nth)
    {
        const std::string answer = ask_with_refusal(nth);
        const std::string now = configuration();
        const bool changed = now == new_ && new_ != old_;
        const std::string messages = new_messages();

        EXPECT_THAT(now, AnyOf(Eq(old_), Eq(new_)));
        expect_truth(answer, changed);
        expect_whole_files(changed);
        EXPECT_TRUE(!answer.empty() || !messages.empty()) << "a failure that nobody is told of";
        if (GetParam().saves && changed && read_file(vorn::test::startup_file) == old_file_) {
            EXPECT_NE(messages, "") << "a save that failed in silence";
        }
        if (changed) take_back();
        EXPECT_EQ(configuration(), old_);
        changed_ = changed;
        return refused_;
    }

    std::string success_, old_, new_, old_file_, new_file_;
    long kept_ = 0;
    bool refused_ = false, changed_ = false;
};

TEST_P(Requests, LeaveItWholeAndTellTheTruth)
{
    unsigned long nth = 1;
    for (; nth < most_allocations && !HasFailure(); nth++) {
        SCOPED_TRACE(testing::Message() << "refusing allocation " << nth);
        if (!try_once(nth)) break;
        EXPECT_TRUE(leaks_nothing([&] {
            try_once(nth);
            return changed_ ? kept_ : 0;
        }));
    }
    constexpr unsigned long least = 20; /* parsing and answering alone */
    EXPECT_GE(nth - 1, least);
    report(GetParam().title, nth - 1,
           "a success and its undoing keep " + std::to_string(kept_) + ", a failure 0");
}

INSTANTIATE_TEST_SUITE_P(ShortOfMemory, Requests, testing::ValuesIn(scenarios),
                         [](const auto &each) { return std::string(each.param.name); });

} // namespace
