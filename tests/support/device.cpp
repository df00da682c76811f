/* SPDX-License-Identifier: MIT */
#include "support/device.h"

#include "support/raw_client.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <filesystem>

namespace vorn::tests {

void Device::SetUp()
{
    test::Device::SetUp();
    set_environment("LSAN_OPTIONS", "print_suppressions=0:suppressions=" VORN_RETAINED);
    const std::string client_folder = std::filesystem::path(VORN_CLIENT).parent_path();
    setenv("PATH", (client_folder + ":" + std::getenv("PATH")).c_str(), 1);
    setenv("VORN_COMPLETION", VORN_COMPLETIONS "/vornctl.bash", 1);
    setenv("VORN_ZSH_COMPLETION", VORN_COMPLETIONS "/_vornctl", 1);
}

std::string Device::built_plugins()
{
    return VORN_PLUGIN_FOLDER;
}

std::string Device::example(const std::string &name)
{
    return VORN_EXAMPLES "/" + name;
}

void Device::install_plugin(const std::string &name)
{
    namespace fs = std::filesystem;
    for (const char *folder : {VORN_PLUGIN_FOLDER, VORN_TEST_PLUGIN_FOLDER}) {
        const fs::path built = fs::path(folder) / name;
        if (!fs::exists(built)) continue;
        fs::copy_file(built, fs::path(test::plugin_folder) / name,
                      fs::copy_options::overwrite_existing);
        return;
    }
    FAIL() << "no plugin " << name << " was built";
}

testing::AssertionResult Device::kill_program(const std::string &command)
{
    return comes_true([&] {
        return shell("kill -9 $(" + command + ") 2>/dev/null && echo killed") == "killed\n";
    });
}

/* Of two signals that wait for a process the smaller comes first, so this one has to have come. */
testing::AssertionResult Device::hang_program(const std::string &command)
{
    return comes_true([&] {
        return shell("for pid in $(" + command +
                     "); do kill -STOP $pid; grep '^State:.T' /proc/$pid/status || exit; done"
                     " 2>/dev/null >&2; echo ${pid:+hang}") == "hang\n";
    });
}

std::string Device::answer_right_after(const std::string &request, const std::string &question)
{
    RawClient one(lsql_door);
    RawClient other(lsql_door);
    one.send(framed(request));
    other.send(framed(question));
    EXPECT_THAT(one.receive_all(), testing::HasSubstr("<rc>0</rc>"));
    return other.receive_all();
}

} // namespace vorn::tests
