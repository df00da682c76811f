/* SPDX-License-Identifier: MIT */
#include "change/providers_check.h"
#include "change/providers_reset.h"
#include "core/base/result.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "vorn/instances.h"
#include "vorn/provider.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

namespace vorn::tests {

namespace {

std::vector<std::string> sentences(const vorn_check_info &info)
{
    std::vector<std::string> found;
    for (const Refusal *each = info.first; each; each = each->next)
        found.emplace_back(each->sentence.get());
    return found;
}

using Sentences = std::vector<std::string>;

class Checks : public ModelTest {
protected:
    Checks()
    {
        guests = new_instance(ClassBuilder("ssid").with("bridge").add_resolved(), "guests");
        system =
            new_instance(ClassBuilder("system", VORN_CLASS_SINGLETON).with("zone").add_resolved());
    }

    Owned<vorn_instance> guests;
    Owned<vorn_instance> system;
    vorn_check_info info{nullptr, nullptr};
};

/* Writes its name down, which is its data. */
void write_name(vorn_check_info *info, void *data)
{
    vorn_check_info_refuse(info, nullptr, nullptr, "%s", static_cast<const char *>(data));
}

/* Looks at a store of its own, without a word when there is none. */
void look_carelessly(vorn_check_info *, void *)
{
    vorn_instances_delete(vorn_instances_new());
}

void leave_an_error(vorn_check_info *, void *)
{
    errno = ENOMEM;
}

void add_checking_provider(const char *name, vorn_check_fn check)
{
    vorn_provider *provider = vorn_provider_new(name);
    ASSERT_EQ(vorn_provider_set_check_fn(provider, check, const_cast<char *>(name)), ok);
    ASSERT_EQ(vorn_providers_add(provider), ok);
}

} // namespace

TEST_F(Checks, AreToldWhatToLookAt)
{
    auto *instances = reinterpret_cast<vorn_instances *>(std::uintptr_t{0x10});
    auto *changes = reinterpret_cast<vorn_changes *>(std::uintptr_t{0x20});
    const vorn_check_info told(instances, changes);

    EXPECT_EQ(vorn_check_info_get_instances(&told), instances);
    EXPECT_EQ(vorn_check_info_get_changes(&told), changes);
    EXPECT_EQ(vorn_check_info_get_instances(nullptr), nullptr);
    EXPECT_EQ(vorn_check_info_get_changes(nullptr), nullptr);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Checks, NameWhatIsToBlameAndWhy)
{
    vorn_check_info_refuse(&info, guests.get(), "bridge", "there is no bridge \"%s\"", "br-gest");
    vorn_check_info_refuse(&info, guests.get(), nullptr, "radio \"%s\" is full", "wlan0");
    vorn_check_info_refuse(&info, system.get(), "zone", "no such zone");
    vorn_check_info_refuse(&info, system.get(), nullptr, "%d is too many", 3);
    vorn_check_info_refuse(&info, nullptr, nullptr, "There is no radio");

    EXPECT_EQ(
        sentences(info),
        (Sentences{"Property \"bridge\" of instance \"guests\" of class \"ssid\": there is no "
                   "bridge \"br-gest\".",
                   "Instance \"guests\" of class \"ssid\": radio \"wlan0\" is full.",
                   "Property \"zone\" of class \"system\": no such zone.",
                   "Class \"system\": 3 is too many.", "There is no radio."}));
}

TEST_F(Checks, RefuseNothingWithoutARecordOrAReason)
{
    EXPECT_EQ(vorn_check_info_refuse(nullptr, nullptr, nullptr, "x"), failed);
    EXPECT_EQ(log.take(), "vorn: Null info.\n");
    EXPECT_EQ(vorn_check_info_refuse(&info, nullptr, nullptr, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null format.\n");

    EXPECT_EQ(sentences(info), Sentences{});
    EXPECT_FALSE(info.out_of_memory);
}

TEST_F(Checks, RememberThatThereWasNoMemoryToRefuse)
{
    FailEachAllocation([&] {
        vorn_check_info each(nullptr, nullptr);
        const int result = vorn_check_info_refuse(&each, guests.get(), "bridge", "no");
        EXPECT_EQ(result == failed, AllocationFailed());
        EXPECT_EQ(each.out_of_memory, AllocationFailed());
        const AllocationsAllowed allowed;
        EXPECT_EQ(sentences(each).size(), AllocationFailed() ? 0u : 1u);
    });
}

TEST_F(Checks, AreMadeByEveryProviderThatHasOneInTheOrderOfProviders)
{
    const ProvidersReset providers;
    add_checking_provider("second", write_name);
    add_checking_provider("first", write_name);
    vorn_provider *other = vorn_provider_new("other");
    vorn_provider_set_commit_fn(
        other, [](vorn_commit_info *) {}, nullptr);
    vorn_providers_add(other);
    vorn_providers_order("first", "second");
    vorn_providers_done_adding();

    log.set_level(3);

    check_by_providers(info);

    EXPECT_EQ(sentences(info), (Sentences{"first.", "second."}));
    EXPECT_EQ(log.text(), "vorn: Checking by provider first...\n"
                          "vorn: Checking by provider second...\n");
    EXPECT_FALSE(info.out_of_memory);
}

TEST_F(Checks, ThatFoundNoMemoryToLookHaveNotLooked)
{
    const ProvidersReset providers;
    add_checking_provider("careless", look_carelessly);
    add_checking_provider("other", [](vorn_check_info *, void *) {});
    vorn_providers_done_adding();

    FailEachAllocation([] {
        vorn_check_info each(nullptr, nullptr);
        check_by_providers(each);
        EXPECT_EQ(each.out_of_memory, AllocationFailed());
    });
}

TEST_F(Checks, MayLeaveAnErrorBehind)
{
    const ProvidersReset providers;
    add_checking_provider("untidy", leave_an_error);
    vorn_providers_done_adding();

    errno = ENOMEM;
    check_by_providers(info);

    EXPECT_FALSE(info.out_of_memory);
}

TEST_F(Checks, AreTakenAwayByNull)
{
    const Owned<vorn_provider> provider(vorn_provider_new("p"));
    EXPECT_EQ(vorn_provider_set_check_fn(provider.get(), write_name, nullptr), ok);
    EXPECT_EQ(vorn_provider_is_valid(provider.get()), 1);

    EXPECT_EQ(vorn_provider_set_check_fn(provider.get(), nullptr, nullptr), ok);

    EXPECT_EQ(vorn_provider_is_valid(provider.get()), 0);
    log.take();
    EXPECT_EQ(vorn_provider_set_check_fn(nullptr, write_name, nullptr), failed);
    EXPECT_EQ(log.take(), "vorn: Null provider.\n");
}

} // namespace vorn::tests
