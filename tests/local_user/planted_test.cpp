/* SPDX-License-Identifier: MIT */
/* What somebody without rights puts where the daemon's scratch files will be. */
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include "local_user/local_user.h"

namespace {

using testing::HasSubstr;
using namespace vorn::tests;

constexpr char precious[] = "/etc/precious";
constexpr const char *scratch_files[] = {
    "/tmp/defaultconfig.xml",
    "/tmp/defaultconfig.xml.new",
    "/tmp/defaultconfig.xml.md5",
    "/tmp/defaultconfig.xml.md5.new",
    "/tmp/md5.gen",
};

int plant_link(const char *path)
{
    return symlink(precious, path);
}

int plant_link_to_the_startup_file(const char *path)
{
    return symlink(startup, path);
}

int plant_link_to_nowhere(const char *path)
{
    return symlink("/etc/config/new", path);
}

int plant_fifo(const char *path)
{
    return mkfifo(path, 0666) != 0 || chmod(path, 0666) != 0;
}

int plant_open_file(const char *path)
{
    const int file = open(path, O_WRONLY | O_CREAT | O_EXCL, 0666);
    return write(file, "theirs", 6) != 6 || fchmod(file, 0666) != 0 || close(file) != 0;
}

int plant_socket(const char *path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::snprintf(address.sun_path, sizeof address.sun_path, "%s", path);
    const int listener = socket(AF_UNIX, SOCK_STREAM, 0);
    return bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address);
}

int plant_folder(const char *path)
{
    return mkdir(path, 0777) != 0 || mkdir((std::string(path) + "/full").c_str(), 0777) != 0;
}

class PlantedScratchFiles : public LocalUsers {
protected:
    void SetUp() override
    {
        LocalUsers::SetUp();
        install_plugin("copies.vorn");
        write_file(precious, "precious");
        write_file(startup, "<config><Radio name=\"mine\"/></config>");
    }

    void plant_everywhere(int (*plant)(const char *path))
    {
        ASSERT_EQ(as_local_user([plant] {
                      umask(0);
                      int failed = 0;
                      for (const char *path : scratch_files)
                          failed += plant(path);
                      return failed;
                  }),
                  0);
    }

    /* Waits until the copy has been made; answers its result. */
    std::string copy(const std::string &what)
    {
        lsql("<lsql><update><Copies><" + what + ">now</" + what + "></Copies></update></lsql>");
        EXPECT_TRUE(console_shows("vorn: copies: " + what + " "));
        const std::string text = console();
        const auto at = text.rfind("vorn: copies: " + what + " ") + 15 + what.size();
        return text.substr(at, text.find('\n', at) - at);
    }

    void expect_nothing_else_touched()
    {
        EXPECT_EQ(read_file(precious), "precious");
        EXPECT_EQ(shell("ls /etc/config"), "config.xml\n");
        EXPECT_THAT(lsql(select_radios), HasSubstr("<Radio name=\"mine\">"));
    }

    void expect_copies_in_spite_of(int (*plant)(const char *path))
    {
        plant_everywhere(plant);
        boot();

        EXPECT_EQ(copy("running-to-default"), "0");
        EXPECT_EQ(copy("default-to-startup"), "0");

        expect_nothing_else_touched();
        EXPECT_THAT(read_file(default_file), HasSubstr("<Radio name=\"mine\"/>"));
        EXPECT_THAT(read_file(startup), HasSubstr("<Radio name=\"mine\"/>"));
        for (const char *path : {"/tmp/defaultconfig.xml", "/tmp/md5.gen"}) {
            EXPECT_EQ(shell(std::string("stat -c '%U %a %F' ") + path), "root 600 regular file\n");
            EXPECT_EQ(opening_ends_with(path, O_RDONLY), EACCES) << path;
            EXPECT_EQ(as_local_user([path] { return unlink(path) ? errno : 0; }), EPERM) << path;
        }
    }
};

TEST_F(PlantedScratchFiles, ThatAreLinksAreReplaced)
{
    expect_copies_in_spite_of(plant_link);
}

TEST_F(PlantedScratchFiles, ThatAreLinksToTheConfigurationAreReplaced)
{
    expect_copies_in_spite_of(plant_link_to_the_startup_file);
}

TEST_F(PlantedScratchFiles, ThatAreLinksToNowhereAreReplaced)
{
    expect_copies_in_spite_of(plant_link_to_nowhere);
}

TEST_F(PlantedScratchFiles, ThatAreFifosAreReplaced)
{
    expect_copies_in_spite_of(plant_fifo);
}

TEST_F(PlantedScratchFiles, ThatArePlainFilesAreReplaced)
{
    expect_copies_in_spite_of(plant_open_file);
}

TEST_F(PlantedScratchFiles, ThatAreSocketsAreReplaced)
{
    expect_copies_in_spite_of(plant_socket);
}

/* A folder with something in it can't be put out of the way: the copies fail whole. */
TEST_F(PlantedScratchFiles, ThatAreFoldersEndTheCopyAndNothingElse)
{
    write_default(good_header());
    const std::string factory = read_file(default_file);
    plant_everywhere(plant_folder);
    boot();

    EXPECT_EQ(copy("running-to-default"), "1");
    EXPECT_EQ(copy("default-to-startup"), "1");

    expect_nothing_else_touched();
    EXPECT_EQ(read_file(default_file), factory);
    EXPECT_EQ(read_file(startup), rescue_text);
}

/* The name is the daemon's as soon as its file is there. */
TEST_F(PlantedScratchFiles, ThatComeLaterAreRefused)
{
    boot();
    EXPECT_EQ(copy("running-to-default"), "0");

    EXPECT_EQ(as_local_user([] { return rename("/tmp/defaultconfig.xml", "/tmp/x") ? errno : 0; }),
              EPERM);
    EXPECT_EQ(as_local_user([] { return symlink(precious, "/tmp/md5.gen") ? errno : 0; }), EEXIST);
    EXPECT_EQ(opening_ends_with("/tmp/md5.gen", O_WRONLY), EACCES);
}

TEST_F(PlantedScratchFiles, AtBootLeadToTheDefaultAllTheSame)
{
    plant_everywhere(plant_link);
    write_default(good_header());
    std::filesystem::remove(startup);

    expect_boot_from("factory");

    EXPECT_EQ(read_file(precious), "precious");
    EXPECT_EQ(read_file(startup), default_text);
}

} // namespace
