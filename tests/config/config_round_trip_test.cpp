/* SPDX-License-Identifier: MIT */
/* A configuration made at random is the same after it has been saved and loaded. */
#include "config/config_fixture.h"
#include "support/random_texts.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace vorn::tests {

/* Attack. */
class RandomConfigurations : public ConfigTest, public RandomTexts {
protected:
    void put_any()
    {
        const std::string text = any_text();
        const std::string number = std::to_string(next++);
        switch (below(5)) {
        case 0:
            put("Radio", (text + number).c_str(), {{"channel", number.c_str()}});
            break;
        case 1:
            put("Route", nullptr, {{"to", text.c_str()}});
            break;
        case 2:
            put("Acl", number.substr(0, 1).c_str(), {{"mac", text.c_str()}});
            break;
        case 3:
            put("Static", (text + number).c_str(), {{"kind", "Static"}, {"ip", text.c_str()}});
            break;
        default:
            put("Route", nullptr);
            break;
        }
    }

    static std::string class_in(const vorn_instances *instances, const char *class_name)
    {
        return printed([&](std::FILE *stream) {
            const Walk walk(vorn_instances_new_class_iterator(instances, class_name));
            for (const vorn_instance *instance : walk)
                vorn_instance_print(instance, stream);
        });
    }

    int next = 0;
};

TEST_P(RandomConfigurations, AreTheSameOnceSavedAndLoaded)
{
    put("Board", nullptr, {{"label", any_text().c_str()}});
    for (int i = 0; i < 40; i++)
        put_any();
    ASSERT_TRUE(save());
    const std::string first = content(file);
    const StoreWithInstances before(std::exchange(store, vorn_instances_new()));
    changes.reset(vorn_changes_new(store));

    ASSERT_TRUE(load_file());

    for (const char *class_name : {"Board", "Radio", "Route", "Acl", "Static"}) {
        EXPECT_EQ(class_in(store, class_name), class_in(before.get(), class_name));
    }
    ASSERT_TRUE(save());
    EXPECT_EQ(content(file), first);
    EXPECT_EQ(log.text(), "");
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomConfigurations, testing::Range(1U, 31U));

} // namespace vorn::tests
