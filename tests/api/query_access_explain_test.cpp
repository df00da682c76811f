/* SPDX-License-Identifier: MIT */
/* What would change, who would do something and what is against it: to each what he may read. */
#include "api/access_fixture.h"
#include "vorn/explanation.h"

#include <gmock/gmock.h>

#include <string>

namespace {

using testing::HasSubstr;
using testing::Not;
using vorn::tests::AccessTest;
using vorn::tests::AllocationsAllowed;
using vorn::tests::QueryTest;

constexpr char to_seven[] =
    "<explain><update><Radio name=\"r0\"><channel>7</channel></Radio></update></explain>";

/* Nobody but root may read the board, or routes. */
class ExplanationsForOne : public AccessTest {
protected:
    ExplanationsForOne()
    {
        rule("r", 1, "any", "Board", "", "read", "deny");
        rule("s", 2, "any", "Route", "", "read", "deny");
    }

    /* The provider says it of each change. */
    static void say(const char *sentence)
    {
        static const char *said;
        said = sentence;
        vorn_provider_set_explain_fn(
            vorn_providers_get("recorder"),
            [](vorn_commit_info *, vorn_explanation *explanation) {
                const AllocationsAllowed allowed;
                vorn_explanation_add(explanation, VORN_EXPLAIN_INTERRUPTS, "%s", said);
            },
            nullptr);
    }
};

TEST_F(ExplanationsForOne, TellNothingOfInstancesThatAPluginChangesAlong)
{
    on_amend = [](QueryTest &, vorn_amend_info *info) {
        vorn_instances *all = vorn_amend_info_get_instances(info);
        vorn_instance_set_value(vorn_instances_get_singleton(all, "Board"), "label", "cellar");
        vorn_instances_add(all, vorn_instance_new(vorn_classes_get("Route"), nullptr));
    };
    const std::string all = ask(to_seven);
    EXPECT_THAT(all, HasSubstr("<change action=\"updated\" class=\"Board\">"));
    EXPECT_THAT(all, HasSubstr("<change action=\"inserted\" class=\"Route\"/>"));
    EXPECT_THAT(all, HasSubstr("<instance action=\"update\" class=\"Board\"/>"));

    EXPECT_EQ(ask_as("bob", to_seven),
              "<explanation><change action=\"updated\" class=\"Radio\" name=\"r0\"><value "
              "property=\"channel\"><before>6</before><after>7</after></value></change>"
              "<provider name=\"recorder\"><instance action=\"update\" class=\"Radio\" "
              "name=\"r0\"/></provider><rc>0</rc></explanation>");
}

TEST_F(ExplanationsForOne, LeaveOutSentencesThatNameWhatMayNotBeRead)
{
    const auto told = HasSubstr("<effect weight=\"interrupts\">");
    for (const char *each : {"the attic is dark", "Board starts anew"}) {
        say(each);
        EXPECT_THAT(ask(to_seven), told) << each;
        EXPECT_THAT(ask_as("bob", to_seven), Not(told)) << each;
    }
    say("r0 starts anew");
    EXPECT_THAT(ask_as("bob", to_seven), told);
}

TEST_F(ExplanationsForOne, HideReasonsThatNameWhatMayNotBeRead)
{
    on_check = [](QueryTest &, vorn_check_info *info) {
        vorn_instances *all = vorn_check_info_get_instances(info);
        vorn_check_info_refuse(info, vorn_instances_get(all, "Radio", "r0"), "channel",
                               "attic has it");
    };
    EXPECT_THAT(ask(to_seven), HasSubstr("\"Radio\": attic has it.</refused>"));
    EXPECT_THAT(ask_as("bob", to_seven),
                HasSubstr("<refused>It does not fit something that may not be read.</refused>"));
    EXPECT_THAT(ask_as("bob", to_seven), Not(HasSubstr("attic")));
}

} // namespace
