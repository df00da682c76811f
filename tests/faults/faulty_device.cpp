/* SPDX-License-Identifier: MIT */
/* What all tests of failing calls have in common: the board, and how to see what became of it. */
#include "faults/faulty_device.h"

#include "support/raw_client.h"

#include <filesystem>
#include <iostream>

namespace vorn::tests {

namespace {

constexpr char board[] = "<?xml version=\"1.0\"?>\n"
                         "<config>\n"
                         "  <Board>\n"
                         "    <label>roof</label>\n"
                         "  </Board>\n"
                         "  <Radio name=\"r0\">\n"
                         "    <channel>1</channel>\n"
                         "    <mode>g</mode>\n"
                         "  </Radio>\n"
                         "  <Radio name=\"r1\">\n"
                         "    <channel>36</channel>\n"
                         "    <mode>ac</mode>\n"
                         "  </Radio>\n"
                         "  <Route>\n"
                         "    <to>lan</to>\n"
                         "  </Route>\n"
                         "  <Acl name=\"staff\">\n"
                         "    <mac>01</mac>\n"
                         "  </Acl>\n"
                         "  <Acl name=\"staff\">\n"
                         "    <mac>02</mac>\n"
                         "  </Acl>\n"
                         "  <Address name=\"lan\">\n"
                         "    <kind>Static</kind>\n"
                         "    <ip>10.0.0.1</ip>\n"
                         "  </Address>\n"
                         "</config>\n";

constexpr char everything[] = "<lsql><select><Board properties=\"all\"/></select>"
                              "<select><Radio properties=\"all\"/></select>"
                              "<select><Route properties=\"all\"/></select>"
                              "<select><Acl properties=\"all\"/></select>"
                              "<select><Address properties=\"all\"/></select></lsql>";

} // namespace

void FaultyDevice::SetUp()
{
    Device::SetUp();
    install_plugin("board.vorn");
    write_file("/etc/config/config.xml", board);
    write_file("/etc/rescueconfig.xml", "<config><Radio name=\"rescued\"/></config>\n");
}

std::string FaultyDevice::ask(const std::string &request)
{
    RawClient client(lsql_door);
    if (!client.connected() || !client.send(framed(request))) return "";
    return client.receive_all();
}

/*
 * A handler may have asked for one more pass of the loop, hence the second one. Who cannot send any
 * more has been closed already: the daemon listens to a client before that has said a word, and
 * listening may be what fails.
 */
bool FaultyDevice::is_idle()
{
    for (int pass = 0; pass < 2; pass++) {
        RawClient client(lsql_door);
        if (!client.connected() || (client.send(native(0)) && !client.closed_within(20)))
            return false;
    }
    return true;
}

std::string FaultyDevice::configuration()
{
    return ask(everything);
}

bool FaultyDevice::is_success(const std::string &answer)
{
    return answer.find("<rc>0</rc>") != std::string::npos &&
           answer.find("<error>") == std::string::npos;
}

std::string FaultyDevice::new_messages()
{
    const std::string all = console();
    const std::string fresh = all.substr(std::min(messages_seen_, all.size()));
    messages_seen_ = all.size();
    return fresh;
}

bool FaultyDevice::only_the_startup_file_is_there()
{
    for (const auto &entry : std::filesystem::directory_iterator("/etc/config")) {
        if (entry.path() != test::startup_file) return false;
    }
    return exists(test::startup_file);
}

void FaultyDevice::report(const std::string &scenario, unsigned long tried,
                          const std::string &remark)
{
    std::cout << "row\t" << scenario << "\t" << tried << "\t" << remark << std::endl;
}

} // namespace vorn::tests
