/* SPDX-License-Identifier: MIT */
#pragma once

#include "support/device.h"

#include <string>

#include <sys/stat.h>

namespace vorn::tests {

inline constexpr char startup[] = "/etc/config/config.xml";
inline constexpr char default_file[] = "/etc/defaultconfig.xml";
inline constexpr char rescue[] = "/etc/rescueconfig.xml";
inline constexpr char rescue_text[] = "<config><Radio name=\"rescued\"/></config>\n";
inline constexpr char default_text[] = "<config><Radio name=\"factory\"/></config>\n";
inline constexpr char select_radios[] = "<lsql><select><Radio properties=\"all\"/></select></lsql>";

inline constexpr char select_save[] = "<lsql><select><save properties=\"all\"/></select></lsql>";

inline std::string answer(const std::string &dataset, int counter)
{
    return "<?xml version=\"1.0\"?>\n<lsql_result><dataset>" + dataset +
           "</dataset><rc>0</rc><counter>" + std::to_string(counter) + "</counter></lsql_result>\n";
}

inline std::string radio(const std::string &name)
{
    return answer("<Radio name=\"" + name + "\"><channel/><mode/></Radio>", 1);
}

/* A board with one class of every kind, and a rescue file to fall back to. */
class ConfiguredDevice : public Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("board.vorn");
        write_file(rescue, rescue_text);
    }

    /* Another one once the file was written again. */
    static ino_t number_of(const char *file)
    {
        struct stat status = {};
        EXPECT_EQ(stat(file, &status), 0) << file;
        return status.st_ino;
    }

    /* A default file as the factory makes it, with the header lines given. */
    static void write_default(const std::string &header)
    {
        write_file(default_file, header + "\n" + default_text);
    }

    static std::string md5_of(const std::string &text)
    {
        write_file("/tmp/to-digest", text);
        return shell("md5sum </tmp/to-digest | cut -c1-32 | tr -d '\\n'");
    }

    static std::string header_of(const std::string &text)
    {
        return "Version: 1\nLength: " + std::to_string(text.size()) + "\nMD5sum: " + md5_of(text) +
               "\n";
    }

    static std::string good_header() { return header_of(default_text); }

    void expect_boot_from(const std::string &radio_name)
    {
        boot();
        EXPECT_EQ(lsql(select_radios), radio(radio_name));
    }
};

} // namespace vorn::tests
