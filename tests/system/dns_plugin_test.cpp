/* SPDX-License-Identifier: MIT */
/* Names for others: what dnsmasq and stubby are told, and when they are started or only read again.
 */
#include "support/device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include <sys/stat.h>

namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr char names_config[] = "/var/run/vorn-dns.conf";
constexpr char names_records[] = "/var/run/vorn-dns.hosts";
constexpr char names_stub[] = "/var/run/vorn-dns-tls.yml";
constexpr char names_server[] =
    "dnsmasq --keep-in-foreground --log-facility=- --conf-file=/var/run/vorn-dns.conf";
constexpr char names_stubby[] =
    "setpriv --reuid=nobody --regid=nogroup --clear-groups --no-new-privs --bounding-set=-all "
    "stubby -C /var/run/vorn-dns-tls.yml";

constexpr char private_server[] =
    "<insert><dns-server name=\"far\"><address>2001:db8::53</address><tls>on</tls>"
    "<tls-name>dns.example.net</tls-name></dns-server></insert>";

class Names : public vorn::tests::Device {
protected:
    void SetUp() override
    {
        Device::SetUp();
        install_plugin("dns.vorn");
        install_plugin("save.vorn");
        /* Notes when it is told to read its files again. */
        stand_in("dnsmasq", "trap 'echo again >>/tmp/again' HUP\n"
                            "echo $$ >/tmp/ready\n"
                            "while :; do sleep 0.02; done");
        stand_in("setpriv", "echo $$ >/tmp/stubby\nexec sleep 1000");
        write_file(vorn::test::startup_file,
                   "<config><dns><enabled>on</enabled></dns><dns-record name=\"printer\">"
                   "<names>printer.home.example lpd</names>"
                   "<addresses>192.168.1.20 2001:db8::20</addresses></dns-record></config>");
        prepare();
        boot();
        ASSERT_TRUE(comes_true([] { return exists("/tmp/ready"); }));
    }

    /* What a test has before the device boots. */
    virtual void prepare() {}

    static std::string change(const std::string &operations)
    {
        return lsql("<lsql><write-transaction>" + operations + "</write-transaction></lsql>");
    }

    static std::string told(const std::string &klass, const std::string &property,
                            const std::string &name = "")
    {
        const std::string answer =
            lsql("<lsql><select><" + klass + (name.empty() ? "" : " name=\"" + name + "\"") + "><" +
                 property + "/></" + klass + "></select></lsql>");
        const auto begin = answer.find("<" + property + ">") + property.size() + 2;
        return answer.substr(begin, answer.find("</" + property + ">") - begin);
    }

    static testing::AssertionResult becomes(const std::string &klass, const std::string &property,
                                            const std::string &name, const std::string &wanted)
    {
        return comes_true([&] { return told(klass, property, name) == wanted; })
               << klass << " is " << told(klass, property, name);
    }

    static testing::AssertionResult is_run(std::size_t times)
    {
        return comes_true([=] { return commands_run().size() == times; })
               << commands_run().size() << " programs were run";
    }
};

TEST_F(Names, AreWrittenAndAnsweredAtBoot)
{
    EXPECT_THAT(commands_run(), ElementsAre(names_server));
    EXPECT_EQ(read_file(names_config), "bind-dynamic\nlocal-service\nuser=nobody\npid-file=\n"
                                       "no-hosts\ndomain-needed\nbogus-priv\n"
                                       "addn-hosts=/var/run/vorn-dns.hosts\ncache-size=1000\n");
    EXPECT_EQ(read_file(names_records), "192.168.1.20 printer.home.example lpd\n"
                                        "2001:db8::20 printer.home.example lpd\n");
    EXPECT_FALSE(exists(names_stub));
    EXPECT_TRUE(becomes("dns", "state", "", "running"));
    EXPECT_EQ(told("dns", "status"), "running");
    EXPECT_EQ(told("dns", "tls-state"), "stopped");
    EXPECT_EQ(told("dns-record", "state", "printer"), "running");
}

TEST_F(Names, OnlyHaveRecordsReadAgain)
{
    constexpr char added[] = "<insert><dns-record name=\"nas\"><names>nas</names>"
                             "<addresses>192.168.1.21</addresses></dns-record></insert>";
    forget_runs();

    EXPECT_THAT(
        lsql("<explain>" + std::string(added) + "</explain>"),
        AllOf(HasSubstr(">the name server reads the names again<"), Not(HasSubstr("starts anew"))));
    change(added);

    EXPECT_TRUE(comes_true([] { return exists("/tmp/again"); }));
    EXPECT_THAT(read_file(names_records), HasSubstr("\n192.168.1.21 nas\n"));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Names, StartTheirServerAnewForItsSettings)
{
    forget_runs();

    EXPECT_THAT(lsql("<explain><update><dns><cache-size>20</cache-size></dns></update></explain>"),
                HasSubstr("<effect weight=\"interrupts\">the name server starts anew: "
                          "no names are answered meanwhile</effect>"));
    change("<update><dns><cache-size>20</cache-size><interfaces>br0 wlan0</interfaces>"
           "<domain>home.example</domain></dns></update>");

    EXPECT_TRUE(is_run(1));
    EXPECT_THAT(read_file(names_config),
                HasSubstr("\ncache-size=20\ninterface=br0\ninterface=wlan0\n"
                          "domain=home.example\nlocal=/home.example/\nexpand-hosts\n"));
    EXPECT_FALSE(exists("/tmp/again"));
}

TEST_F(Names, RunNothingForValuesThatAreWrittenAgain)
{
    forget_runs();

    change("<update><dns><enabled>on</enabled></dns></update>");
    change("<update><dns-record><addresses>192.168.1.20 2001:db8::20</addresses></dns-record>"
           "</update>");
    change("<update><dns-record><addresses>192.168.1.22</addresses></dns-record></update>");

    EXPECT_TRUE(comes_true([] { return read_file("/tmp/again") == "again\n"; }));
    EXPECT_THAT(commands_run(), IsEmpty());
}

TEST_F(Names, AreAskedOfTheServersThatAreConfigured)
{
    forget_runs();

    change("<insert><dns-server name=\"a\"><address>192.0.2.53</address></dns-server></insert>"
           "<insert><dns-server name=\"b\"><address>2001:db8::53</address><port>5353</port>"
           "</dns-server></insert>");

    EXPECT_TRUE(is_run(1));
    EXPECT_THAT(read_file(names_config),
                HasSubstr("\nno-resolv\nserver=192.0.2.53#53\nserver=2001:db8::53#5353\n"));
    EXPECT_TRUE(becomes("dns-server", "state", "b", "running"));
}

TEST_F(Names, AreAskedOverTlsAlone)
{
    forget_runs();

    EXPECT_THAT(lsql("<explain>" + std::string(private_server) + "</explain>"),
                AllOf(HasSubstr("<effect weight=\"live\">stubby starts</effect>"),
                      HasSubstr(">the name server starts anew: ")));
    change(private_server);

    EXPECT_TRUE(is_run(2));
    EXPECT_THAT(commands_run(), UnorderedElementsAre(names_server, names_stubby));
    EXPECT_THAT(read_file(names_config), AllOf(HasSubstr("\nno-resolv\nserver=127.0.0.1#5453\n"),
                                               Not(HasSubstr("2001:db8::53"))));
    EXPECT_EQ(read_file(names_stub),
              "resolution_type: GETDNS_RESOLUTION_STUB\n"
              "dns_transport_list:\n  - GETDNS_TRANSPORT_TLS\n"
              "tls_authentication: GETDNS_AUTHENTICATION_REQUIRED\n"
              "tls_query_padding_blocksize: 128\nedns_client_subnet_private: 1\n"
              "round_robin_upstreams: 0\nidle_timeout: 10000\n"
              "listen_addresses:\n  - 127.0.0.1@5453\n"
              "upstream_recursive_servers:\n"
              "  - address_data: 2001:db8::53\n    tls_port: 853\n"
              "    tls_auth_name: \"dns.example.net\"\n");
    EXPECT_TRUE(becomes("dns", "tls-state", "", "running"));
    EXPECT_TRUE(becomes("dns-server", "state", "far", "running"));
}

TEST_F(Names, StartOnlyTheStubAnewForItsServers)
{
    change(private_server);
    ASSERT_TRUE(is_run(3)); /* one of them at boot */
    ASSERT_TRUE(becomes("dns", "tls-state", "", "running"));
    forget_runs();

    change("<update><dns-server name=\"far\"><port>443</port></dns-server></update>");

    EXPECT_TRUE(is_run(1));
    EXPECT_THAT(commands_run(), ElementsAre(names_stubby));
    EXPECT_THAT(read_file(names_stub), HasSubstr("tls_port: 443\n"));
}

TEST_F(Names, EndTheStubWithTheLastServerOverTls)
{
    change(private_server);
    ASSERT_TRUE(becomes("dns", "tls-state", "", "running"));

    change("<delete><dns-server/></delete>");

    EXPECT_TRUE(becomes("dns", "tls-state", "", "stopped"));
    EXPECT_FALSE(exists(names_stub));
    EXPECT_THAT(read_file(names_config), Not(HasSubstr("no-resolv")));
}

TEST_F(Names, AreNotAskedWithoutTlsWhileTheStubFails)
{
    stand_in("setpriv", "echo 'stubby: no such address' >&2; exit 1");

    change(private_server);

    EXPECT_TRUE(becomes("dns", "tls-state", "", "failed: stubby: no such address"));
    EXPECT_TRUE(becomes("dns-server", "state", "far", "failed: stubby: no such address"));
    EXPECT_TRUE(becomes("dns", "state", "", "running"));
    EXPECT_THAT(read_file(names_config), HasSubstr("\nno-resolv\nserver=127.0.0.1#5453\n"));
}

TEST_F(Names, TellThatTheProgramIsMissing)
{
    shut_down();
    set_environment("PATH", "/nowhere");

    boot();

    EXPECT_TRUE(comes_true([] {
        return told("dns", "state").starts_with("failed: vorn: Unable to execute \"dnsmasq\"");
    })) << told("dns", "state");
}

TEST_F(Names, TellWhatTheirServerSaid)
{
    stand_in("dnsmasq", "printf 'dnsmasq: bad\\033 option\\n' >&2; exit 1");

    change("<update><dns><cache-size>20</cache-size></dns></update>");

    EXPECT_TRUE(becomes("dns", "state", "", "failed: dnsmasq: bad? option"));
    EXPECT_TRUE(becomes("dns", "status", "", "failed"));
    EXPECT_TRUE(becomes("dns-record", "state", "printer", "failed: dnsmasq: bad? option"));
}

TEST_F(Names, LetNobodyWaitForProgramsThatHang)
{
    change(private_server);
    ASSERT_TRUE(comes_true([] { return exists("/tmp/stubby"); }));
    ASSERT_TRUE(becomes("dns", "state", "", "running"));
    ASSERT_TRUE(hang_program("cat /tmp/ready"));
    ASSERT_TRUE(hang_program("cat /tmp/stubby"));

    change("<update><dns><enabled>off</enabled></dns></update>");

    EXPECT_EQ(told("dns", "state"), "applying: it has not ended yet");
    EXPECT_EQ(told("dns", "tls-state"), "applying: it has not ended yet");
    EXPECT_TRUE(becomes("dns", "state", "", "stopped"));
    EXPECT_TRUE(becomes("dns", "tls-state", "", "stopped"));
}

TEST_F(Names, AreNotAnsweredWhenSwitchedOff)
{
    change("<update><dns><enabled>off</enabled></dns></update>");

    EXPECT_TRUE(becomes("dns", "state", "", "stopped"));
    EXPECT_FALSE(exists(names_config));
    EXPECT_FALSE(exists(names_records));
    EXPECT_EQ(told("dns-record", "state", "printer"), "stopped");
}

TEST_F(Names, ComeBackWithTheNextCommitWhenSomebodyChangedTheFiles)
{
    forget_runs();
    write_file(names_config, "port=0\n");
    write_file(names_records, "");

    change("<delete><dns-server/></delete>");

    EXPECT_TRUE(is_run(1));
    EXPECT_THAT(read_file(names_records), HasSubstr("printer"));
}

TEST_F(Names, TellThatTheFilesCannotBeWritten)
{
    shell("mkdir /var/run/vorn-dns.conf.new");
    forget_runs();

    change("<update><dns><cache-size>20</cache-size></dns></update>");

    EXPECT_TRUE(console_shows("dns: can't write its files."));
    EXPECT_EQ(told("dns", "state"), "failed: can't write its files");
    EXPECT_THAT(commands_run(), IsEmpty());
    shell("rmdir /var/run/vorn-dns.conf.new");
    change("<delete><dns-server/></delete>");
    EXPECT_TRUE(is_run(1));
    EXPECT_TRUE(becomes("dns", "state", "", "running"));
}

TEST_F(Names, AreRefusedWhenTheyCannotBe)
{
    const std::string before = read_file(names_config) + read_file(names_records);
    const auto server = [](const std::string &values) {
        return "<insert><dns-server name=\"x\">" + values + "</dns-server></insert>";
    };
    const auto record = [](const std::string &names, const std::string &addresses) {
        return "<insert><dns-record name=\"x\"><names>" + names + "</names><addresses>" +
               addresses + "</addresses></dns-record></insert>";
    };
    const std::pair<std::string, const char *> wrong[] = {
        {server("<address>192.0.2</address>"), ""},
        {server("<address>2001:db8::1%lo</address>"), ""},
        {server("<address>1:2</address>"), ""},
        {server("<address>&#10;1.2.3.4</address>"), ""},
        {server("<port>53</port>"), ""},
        {server("<address>192.0.2.1</address><port>0</port>"), ""},
        {server("<address>192.0.2.1</address><tls>on</tls>"),
         "without the name of its certificate anybody could be the server"},
        {server("<address>192.0.2.1</address><tls-name>a\"b</tls-name>"), ""},
        {private_server + server("<address>192.0.2.1</address>"),
         "another server is asked over TLS, and this one without"},
        {record("a b_;", "192.0.2.1"), ""},
        {record("a&#10;b", "192.0.2.1"), ""},
        {record(" ", "192.0.2.1"), ""},
        {record("a", "192.0.2.1 b"), ""},
        {record("a", " "), ""},
        {"<insert><dns-record name=\"x\"><names>a</names></dns-record></insert>", ""},
        {"<update><dns><cache-size>10001</cache-size></dns></update>", ""},
        {"<update><dns><interfaces>a/b</interfaces></dns></update>", ""},
        {"<update><dns><domain>-</domain></dns></update>", ""},
        {"<update><dns><enabled>yes</enabled></dns></update>", ""},
    };
    for (const auto &[operations, reason] : wrong)
        EXPECT_THAT(change(operations), AllOf(HasSubstr("<rc>1</rc>"), HasSubstr(reason)))
            << operations;

    EXPECT_EQ(read_file(names_config) + read_file(names_records), before);
}

TEST_F(Names, ThatCameInWithoutACheckAreLeftOut)
{
    lsql("<lsql><insert><dns-server name=\"bad\"><address>192.0.2.1</address><tls>on</tls>"
         "</dns-server></insert></lsql>");
    lsql("<lsql><insert><dns-server name=\"open\"><address>192.0.2.2</address>"
         "</dns-server></insert></lsql>");
    lsql("<lsql>" + std::string(private_server) + "</lsql>");

    EXPECT_EQ(told("dns-server", "state", "bad"),
              "failed: without the name of its certificate anybody could be the server");
    EXPECT_EQ(told("dns-server", "state", "open"),
              "failed: another server is asked over TLS, and this one without");
    EXPECT_THAT(read_file(names_config), Not(HasSubstr("192.0.2")));
    EXPECT_THAT(read_file(names_stub), AllOf(HasSubstr("2001:db8::53"), Not(HasSubstr("192.0.2"))));
}

TEST_F(Names, LetNoNameOfAnInstanceIntoTheFiles)
{
    change("<insert><dns-record name=\"x&#10;server=/bin/sh\"><names>a</names>"
           "<addresses>192.0.2.1</addresses></dns-record></insert>");

    EXPECT_THAT(read_file(names_config) + read_file(names_records), Not(HasSubstr("/bin/sh")));
}

TEST_F(Names, AreAnsweredOnInterfacesThatAreThere)
{
    shut_down();
    install_plugin("network.vorn");
    boot();

    EXPECT_THAT(change("<update><dns><interfaces>lo br-gest</interfaces></dns></update>"),
                HasSubstr("Property \"interfaces\" of class \"dns\": there is no interface "
                          "\"br-gest\""));
    EXPECT_THAT(change("<insert><interface name=\"br0\"><kind>bridge</kind></interface></insert>"
                       "<update><dns><interfaces>lo br0</interfaces></dns></update>"),
                HasSubstr("<rc>0</rc>"));
}

/* What the real one says of the files. */
class RealNames : public Names {
protected:
    void prepare() override
    {
        write_file(vorn::test::startup_file,
                   "<config><dns><enabled>on</enabled><domain>home.example</domain>"
                   "<interfaces>lo</interfaces></dns>"
                   "<dns-server name=\"a\"><address>2001:db8::53</address></dns-server>"
                   "<dns-record name=\"printer\"><names>printer</names>"
                   "<addresses>192.168.1.20 2001:db8::20</addresses></dns-record></config>");
    }
};

TEST_F(RealNames, AreTakenByTheRealServer)
{
    if (!exists("/usr/sbin/dnsmasq")) GTEST_SKIP() << "dnsmasq is not installed";

    EXPECT_THAT(shell("/usr/sbin/dnsmasq --test -C /var/run/vorn-dns.conf 2>&1"),
                HasSubstr("syntax check OK"));
}

/* Attack. */
class PipedNames : public Names {
protected:
    void prepare() override
    {
        for (const char *path : {names_config, names_records})
            ASSERT_EQ(mkfifo(path, 0600), 0) << path;
    }
};

TEST_F(PipedNames, WaitForNoPipeInThePlaceOfAFile)
{
    EXPECT_THAT(read_file(names_config), HasSubstr("addn-hosts="));
}

} // namespace
