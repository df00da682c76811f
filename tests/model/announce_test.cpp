/* SPDX-License-Identifier: MIT */
/* Who waits for a change hears of it before anybody can see it. */
#include "core/announce.h"
#include "model/stores.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using testing::ElementsAre;
using vorn::tests::Names;
using vorn::tests::new_property;
using vorn::tests::Stores;

/* What is looked at when a change is announced, and what was seen each time. */
std::function<std::string()> look;
Names seen;
const vorn_instances *of_store = nullptr;

class Announcements : public Stores {
protected:
    ~Announcements() override { vorn::change_awaited = nullptr; }

    static void await(std::function<std::string()> what)
    {
        seen.clear();
        look = std::move(what);
        vorn::change_awaited = [](const vorn_instances *store) {
            seen.push_back(look());
            of_store = store;
        };
    }
    static std::string value(const vorn_instance *instance)
    {
        const char *text = vorn_instance_get_value(instance, "channel");
        return text ? text : "(none)";
    }
    std::string listed()
    {
        std::string list;
        for (const std::string &each : all())
            list += each + " ";
        return list;
    }
};

TEST_F(Announcements, ComeBeforeAValueIsAnother)
{
    vorn_instance *radio = put("Radio", "r0");
    await([radio] { return value(radio); });

    vorn_instance_set_value(radio, "channel", "6");
    vorn_instance_set_value(radio, "channel", "11");
    vorn_instance_set_value(radio, "channel", "");

    EXPECT_THAT(seen, ElementsAre("(none)", "6", "11"));
}

TEST_F(Announcements, DoNotComeForAValueThatIsTheSame)
{
    vorn_instance *radio = put("Radio", "r0");
    vorn_instance_set_value(radio, "channel", "6");
    await([] { return ""; });

    vorn_instance_set_value(radio, "channel", "6");
    vorn_instance_set_value(radio, "none", "7");

    EXPECT_THAT(seen, ElementsAre());
}

TEST_F(Announcements, ComeBeforeAllValuesAreOthers)
{
    vorn_instance *radio = put("Radio", "r0");
    vorn_instance *other = make("Radio", "r1");
    vorn_instance_set_value(radio, "channel", "6");
    await([radio] { return value(radio); });

    EXPECT_TRUE(vorn::exchange_values(*radio, other->values));

    EXPECT_THAT(seen, ElementsAre("6"));
    EXPECT_EQ(value(radio), "(none)");
}

TEST_F(Announcements, ComeBeforeAnInstanceComesOrGoes)
{
    put("Board");
    vorn_instance *radio = make("Radio", "r0");
    await([this] { return listed(); });

    EXPECT_EQ(vorn_instances_add(store, radio), 0);
    EXPECT_EQ(vorn_instances_remove(store, radio), 0);
    EXPECT_EQ(vorn_instances_remove_class(store, "Board"), 0);

    EXPECT_THAT(seen, ElementsAre("Board ", "Board Radio.r0 ", "Board "));
    EXPECT_EQ(of_store, store) << "so that others' stores need not be told of";
}

TEST_F(Announcements, ComeBeforeWhatIsToldOfAPropertyIsAnother)
{
    vorn_class *radio = vorn_classes_get("Radio");
    vorn_property *channel = vorn_class_get_property(radio, "channel");
    vorn::Owned<vorn_property> more = new_property("more");
    await([radio, channel] {
        return std::to_string(vorn_property_is_secret(channel)) +
               std::to_string(vorn_property_is_about_others(channel)) +
               std::to_string(vorn_property_get_persistence(channel) == 7) +
               std::to_string(vorn_class_get_persistence(radio) == 7) +
               std::to_string(vorn_class_get_properties(radio));
    });

    vorn_property_set_secret(channel, 1);
    vorn_property_set_about_others(channel, 1);
    vorn_property_set_persistence(channel, 7);
    vorn_class_set_persistence(radio, 7);
    vorn_class_add_property(radio, more.release());

    EXPECT_THAT(seen, ElementsAre("00001", "10001", "11001", "11101", "11111"));
}

} // namespace
