/* SPDX-License-Identifier: MIT */
#include "config/config_fixture.h"
#include "config/config_state.h"
#include "services/xml/xml.h"
#include "vorn/config.h"

#include <gtest/gtest.h>

#include <string>

namespace vorn::tests {

struct Element {
    const char *name;
    const char *text;
    const char *class_name;
    const char *message;
};

void PrintTo(const Element &element, std::ostream *stream)
{
    *stream << element.name;
}

class InstanceElements : public ConfigTest, public testing::WithParamInterface<Element> {};

TEST_P(InstanceElements, StandForAClass)
{
    const auto [name, text, class_name, message] = GetParam();
    const XmlDocument document = parse_xml_text(text, std::char_traits<char>::length(text));

    EXPECT_STREQ(vorn_config_get_class_name(document.get(), xmlDocGetRootElement(document.get())),
                 class_name);

    EXPECT_EQ(log.text(), message);
}

constexpr Element elements[] = {
    {"Plain", "<Radio/>", "Radio", ""},
    {"SubclassByItself", "<Static/>", "Static", ""},
    {"Subclass", "<Address><ip>1</ip>x<kind>Static</kind><kind>Lease</kind></Address>", "Static",
     ""},
    {"UnknownClass", "<Radios/>", nullptr, "vorn: Instance has an unknown class \"Radios\".\n"},
    {"NoIdentifier", "<Address><ip>1</ip></Address>", nullptr,
     "vorn: Instance of class \"Address\" does not contain a subclass identifier property "
     "\"kind\".\n"},
    {"EmptyIdentifier", "<Address><kind/></Address>", nullptr,
     "vorn: Instance of class \"Address\" subclass identifier property \"kind\" has a null "
     "value.\n"},
    {"UnknownSubclass", "<Address><kind>Dhcp</kind></Address>", nullptr,
     "vorn: Instance of class \"Address\" subclass identifier property \"kind\" value is an "
     "unknown class \"Dhcp\".\n"},
    {"NoSubclass", "<Address><kind>Radio</kind></Address>", nullptr,
     "vorn: Instance of class \"Address\" subclass identifier property \"kind\" value is "
     "\"Radio\", which is not a subclass of \"Address\".\n"},
    {"TheClassItself", "<Address><kind>Address</kind></Address>", nullptr,
     "vorn: Instance of class \"Address\" subclass identifier property \"kind\" value is "
     "\"Address\", which is not a subclass of \"Address\".\n"},
};

INSTANTIATE_TEST_SUITE_P(Of, InstanceElements, testing::ValuesIn(elements),
                         [](const auto &each) { return each.param.name; });

class RunningConfigurations : public ConfigTest {
protected:
    RunningConfigurations() { changes.reset(); }
    ~RunningConfigurations() override { running_config = nullptr; }
};

TEST_F(RunningConfigurations, DoNotExistBeforeTheyAreLoaded)
{
    EXPECT_EQ(vorn_config_get_running(), nullptr);
    EXPECT_EQ(vorn_config_replace_running(nullptr), nullptr);
}

TEST_F(RunningConfigurations, GiveWayToANewOneAndLeaveTheirInstancesAlive)
{
    vorn_instances *old = vorn_instances_new();
    const Owned<vorn_instance> kept = new_instance(vorn_classes_get("Radio"), "r0");
    vorn_instances_add(old, kept.get());
    EXPECT_EQ(vorn_config_replace_running(old), old);

    EXPECT_EQ(vorn_config_replace_running(store), store);

    EXPECT_EQ(vorn_config_get_running(), store);
    EXPECT_STREQ(vorn_instance_get_name(kept.get()), "r0");
}

TEST_F(RunningConfigurations, StayForNothingAndForThemselves)
{
    vorn_config_replace_running(store);
    put("Radio", "r0");

    EXPECT_EQ(vorn_config_replace_running(nullptr), store);
    EXPECT_EQ(vorn_config_replace_running(store), store);

    EXPECT_NE(vorn_instances_get(vorn_config_get_running(), "Radio", "r0"), nullptr);
}

} // namespace vorn::tests
