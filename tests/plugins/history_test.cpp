/* SPDX-License-Identifier: MIT */
/* Generations on the disk: what is damaged is named, and a cut costs the newest at most. */
#include "support/allocation.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

extern "C" {
#include "generation.h"
#include "shelf.h"
}

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::StartsWith;

/* What the calls that matter did, for whoever cuts the power between them. */
int calls_left = -1;
std::ofstream *journal = nullptr;

std::string path_of(int descriptor)
{
    return fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor));
}

void note(const std::string &line)
{
    if (calls_left == 0) _exit(9);
    if (calls_left > 0) calls_left--;
    if (journal) *journal << line << std::endl;
}

} // namespace

extern "C" {
int __real_fsync(int descriptor);
int __real_rename(const char *from, const char *to);
int __real_unlink(const char *path);
int __wrap_fsync(int descriptor)
{
    if (calls_left < 0) return __real_fsync(descriptor);
    note("before fsync");
    const int result = __real_fsync(descriptor);
    note("fsync " + path_of(descriptor));
    return result;
}
int __wrap_rename(const char *from, const char *to)
{
    if (calls_left < 0) return __real_rename(from, to);
    note("before rename");
    const int result = __real_rename(from, to);
    note(std::string("rename ") + from + " " + to);
    return result;
}
int __wrap_unlink(const char *path)
{
    if (calls_left < 0) return __real_unlink(path);
    note("before unlink");
    const int result = __real_unlink(path);
    note(std::string("unlink ") + path);
    return result;
}
}

namespace {

class Generations : public testing::Test {
protected:
    Generations() { fs::create_directory(folder); }
    ~Generations() override { fs::remove_all(folder); }

    /* It refers to the document. */
    static generation make(unsigned long number, const std::string &document)
    {
        generation made = {};
        made.number = number;
        made.time = 1700000000;
        made.user = "root";
        made.process = "77";
        made.program = "vornctl";
        made.origin = "console";
        made.comment = "";
        made.document = document.c_str();
        made.size = document.size();
        return made;
    }
    void add(unsigned long number, const std::string &document)
    {
        const generation made = make(number, document);
        EXPECT_EQ(shelf_add(folder.c_str(), &made), nullptr);
    }
    std::string document_of(unsigned long number) const
    {
        generation found;
        const char *reason = shelf_read(folder.c_str(), number, &found);
        if (reason) return std::string("(") + reason + ")";
        const std::string text(found.document, found.size);
        EXPECT_EQ(found.document[found.size], '\0');
        generation_free(&found);
        return text;
    }
    std::vector<unsigned long> numbers() const
    {
        static struct shelf_content list;
        ::shelf_list(folder.c_str(), &list);
        return {list.numbers, list.numbers + list.count};
    }
    std::string file_of(unsigned long number) const
    {
        char name[32];
        std::snprintf(name, sizeof name, "/%08lu.gz", number);
        return folder + name;
    }
    void prune(int most, std::size_t bytes, unsigned long spared = 0) const
    {
        const shelf_limits limits = {most, bytes, &spared, 1};
        shelf_prune(folder.c_str(), &limits);
    }

    const std::string folder = "/tmp/vorn_history_test_" + std::to_string(getpid());
};

TEST_F(Generations, SayWhatWasSaidOfThem)
{
    const std::string document = "<config/>";
    generation made = make(12, document);
    made.comment = "two\nlines \\ \"quoted\" \x1b[1m und \xc3\xb6";
    made.file_count = 2;
    made.files[0] = {"/etc/config/keys", "a\0b\n", 4};
    made.files[1] = {"/etc/none", "", 0};
    ASSERT_EQ(shelf_add(folder.c_str(), &made), nullptr);

    generation found;
    ASSERT_EQ(shelf_read(folder.c_str(), 12, &found), nullptr);
    EXPECT_EQ(found.number, 12U);
    EXPECT_EQ(found.time, 1700000000);
    EXPECT_STREQ(found.user, "root");
    EXPECT_STREQ(found.process, "77");
    EXPECT_STREQ(found.program, "vornctl");
    EXPECT_STREQ(found.origin, "console");
    EXPECT_STREQ(found.comment, made.comment);
    EXPECT_STREQ(found.changes, "");
    EXPECT_EQ(std::string(found.document, found.size), "<config/>");
    ASSERT_EQ(found.file_count, 2);
    EXPECT_STREQ(found.files[0].path, "/etc/config/keys");
    EXPECT_EQ(std::string(found.files[0].bytes, found.files[0].size), std::string("a\0b\n", 4));
    EXPECT_EQ(found.files[1].size, 0U);
    generation_free(&found);
}

TEST_F(Generations, AreReadByNobodyButRoot)
{
    fs::remove_all(folder);
    add(1, "<config/>");
    struct stat status;
    ASSERT_EQ(stat(folder.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
    ASSERT_EQ(stat(file_of(1).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
}

TEST_F(Generations, AreToldApartByTheirDocumentAndTheirFiles)
{
    const auto digest = [](const generation &of) {
        char text[generation_digest_room];
        generation_digest(&of, text);
        return std::string(text);
    };
    const std::string document = "<config/>";
    generation one = make(1, document);
    generation other = make(2, document);
    other.comment = "another";
    EXPECT_EQ(digest(one), digest(other));

    one.file_count = other.file_count = 1;
    one.files[0] = {"/etc/keys", "abc", 3};
    other.files[0] = {"/etc/keys", "abd", 3};
    EXPECT_NE(digest(one), digest(other));

    other.files[0] = {"/etc/more-keys", "abc", 3};
    EXPECT_NE(digest(one), digest(other)) << "the same in another place";
    other.files[0] = {"/etc/keys", "abc", 3};
    EXPECT_EQ(digest(one), digest(other)) << "whenever it was written";
    other.file_count = 2;
    other.files[1] = {"", "", 0};
    EXPECT_NE(digest(one), digest(other));
    const std::string longer = document + " ";
    EXPECT_NE(digest(make(1, document)), digest(make(1, longer)));
}

/* Whatever byte becomes another, the others stay usable. */
TEST_F(Generations, AreNamedWhenTheyAreDamaged)
{
    add(1, "<config>one</config>");
    add(2, "<config>two</config>");
    std::ifstream in(file_of(2), std::ios::binary);
    const std::string whole((std::istreambuf_iterator<char>(in)), {});
    const auto with = [&](const std::string &bytes) {
        std::ofstream(file_of(2), std::ios::binary) << bytes;
        return document_of(2);
    };
    int harmless = 0;
    for (std::size_t i = 0; i < whole.size(); i++) {
        std::string bytes = whole;
        bytes[i] = static_cast<char>(bytes[i] ^ (1 << (i % 8)));
        const std::string document = with(bytes);
        if (document == "<config>two</config>") {
            harmless++;
        } else {
            EXPECT_THAT(document, StartsWith("("));
        }
        EXPECT_THAT(with(whole.substr(0, i)), StartsWith("(")) << "cut after " << i;
    }
    EXPECT_LE(harmless, 10) << "bytes of the head that say nothing of the content";
    EXPECT_EQ(with(whole), "<config>two</config>");
    fs::copy_file(file_of(1), file_of(2), fs::copy_options::overwrite_existing);
    EXPECT_EQ(document_of(2), "(it is another one)");
    fs::remove(file_of(2));
    EXPECT_EQ(document_of(2), "(it is not there)");
    fs::create_symlink("/dev/zero", file_of(2));
    EXPECT_EQ(document_of(2), "(Invalid argument)");
    EXPECT_EQ(document_of(1), "<config>one</config>");
    EXPECT_THAT(numbers(), ElementsAre(1));
}

TEST_F(Generations, GoWhenThereAreTooManyOfThem)
{
    for (unsigned long i = 1; i <= 5; i++)
        add(i, "<config/>");
    prune(3, 1 << 20);
    EXPECT_THAT(numbers(), ElementsAre(3, 4, 5));
    prune(2, 1 << 20, 3);
    EXPECT_THAT(numbers(), ElementsAre(3, 5)) << "one is spared";
    prune(3, 1);
    EXPECT_THAT(numbers(), ElementsAre(5)) << "the newest stays, however large";
}

TEST_F(Generations, GoUntilTheOthersTakeNoMoreThanTheirRoom)
{
    std::size_t sizes[5] = {};
    for (unsigned long i = 1; i <= 4; i++) {
        add(i, "<config>" + std::string(i * i, static_cast<char>('a' + i)) + "</config>");
        sizes[i] = fs::file_size(file_of(i));
    }
    prune(10, sizes[1] + sizes[2] + sizes[3] + sizes[4]);
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 3, 4)) << "just enough room";
    prune(10, sizes[1] + sizes[2] + sizes[3] + sizes[4] - 1);
    EXPECT_THAT(numbers(), ElementsAre(2, 3, 4));
    prune(10, sizes[3] + sizes[4]);
    EXPECT_THAT(numbers(), ElementsAre(3, 4));
    prune(1, 1 << 20, 3);
    EXPECT_THAT(numbers(), ElementsAre(3, 4)) << "one is spared, and the newest always";
    prune(1, 1 << 20);
    EXPECT_THAT(numbers(), ElementsAre(4));
}

TEST_F(Generations, ArePrunedOfWhatAnInterruptedAdditionLeft)
{
    add(1, "<config/>");
    std::ofstream(folder + "/00000002.gz.new") << "half";
    for (const char *name : {"notes", "7.gz", "0000007.gz", "00000000007.gz", "00000007.gz.old"})
        std::ofstream(folder + "/" + name) << "somebody's";
    prune(3, 1 << 20);
    EXPECT_FALSE(fs::exists(folder + "/00000002.gz.new"));
    EXPECT_TRUE(fs::exists(folder + "/notes"));
    EXPECT_THAT(numbers(), ElementsAre(1));
}

TEST_F(Generations, AreNotReadFromAFileThatIsTooLarge)
{
    std::ofstream(file_of(1)) << "x";
    fs::resize_file(file_of(1), (64 << 20) + 1);
    EXPECT_EQ(document_of(1), "(File too large)");
}

TEST_F(Generations, AreTheNewestWhereThereAreMoreThanAThousand)
{
    for (unsigned long i = 0; i < 1500; i++)
        std::ofstream(file_of(i * 701 % 1500 + 1)) << i;
    const std::vector<unsigned long> found = numbers();
    ASSERT_EQ(found.size(), 1000u);
    for (unsigned long i = 0; i < 1000; i++)
        EXPECT_EQ(found[i], i + 501);
}

/* A name in a folder whose own name is not on the disk is gone with it. */
TEST_F(Generations, AreThereForGoodWithTheirFolder)
{
    fs::remove_all(folder);
    const std::string log = folder + ".journal";
    const std::string document = "<config/>";
    const pid_t child = fork();
    if (child == 0) {
        std::ofstream lines(log);
        journal = &lines;
        calls_left = 100;
        const generation made = make(1, document);
        _exit(shelf_add(folder.c_str(), &made) != nullptr);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    std::ifstream in(log);
    EXPECT_THAT(std::string((std::istreambuf_iterator<char>(in)), {}),
                StartsWith("before fsync\nfsync /tmp\n"));
    fs::remove(log);
}

TEST_F(Generations, AreReadAndWrittenWholeOrNotAtAllWithoutMemory)
{
    add(1, "<config>one</config>");
    std::ifstream in(file_of(1), std::ios::binary);
    const std::string packed((std::istreambuf_iterator<char>(in)), {});
    const std::string document(5000, 'x');
    vorn::tests::FailEachAllocation([&] {
        generation found;
        const char *reason = generation_unpack(
            reinterpret_cast<const unsigned char *>(packed.data()), packed.size(), &found);
        if (!reason) generation_free(&found);
        std::size_t size = 0;
        const generation made = make(2, document);
        unsigned char *bytes = generation_pack(&made, &size);
        free(bytes);
        const vorn::tests::AllocationsAllowed allowed;
        if (vorn::tests::AllocationFailed()) {
            EXPECT_TRUE(reason || !bytes);
        } else {
            EXPECT_EQ(reason, nullptr);
            EXPECT_NE(bytes, nullptr);
        }
    });
}

/* The same change with the power cut after each step, and all that was not flushed lost. */
TEST_F(Generations, LoseTheNewestAtMostWhenThePowerIsCut)
{
    const std::string log = folder + ".journal";
    bool done = false;
    int cuts = 0;
    for (; !done; cuts++) {
        ASSERT_LT(cuts, 100);
        fs::remove_all(folder);
        fs::create_directory(folder);
        for (unsigned long i = 1; i <= 3; i++)
            add(i, "<config>" + std::to_string(i) + "</config>");
        const std::string document = "<config>4</config>";
        const pid_t child = fork();
        if (child == 0) {
            std::ofstream lines(log);
            journal = &lines;
            calls_left = cuts;
            const generation made = make(4, document);
            shelf_add(folder.c_str(), &made);
            const shelf_limits limits = {3, 1 << 20, nullptr, 0};
            shelf_prune(folder.c_str(), &limits);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
        done = WEXITSTATUS(status) == 0;

        std::set<std::string> flushed;
        bool folder_is_flushed = false;
        std::ifstream lines(log);
        std::string rest;
        for (std::string call, path; lines >> call >> path && std::getline(lines, rest);) {
            if (call == "fsync") flushed.insert(path);
            if (call == "fsync" && path == folder) folder_is_flushed = true;
        }
        const bool is_flushed = flushed.count(file_of(4) + ".new") > 0;
        if (!is_flushed && fs::exists(file_of(4))) fs::resize_file(file_of(4), 3);
        if (!folder_is_flushed) {
            for (unsigned long i = 1; i <= 3; i++)
                ASSERT_TRUE(fs::exists(file_of(i))) << "gone before the new one was there for good";
        }
        for (unsigned long i = 2; i <= 3; i++)
            EXPECT_EQ(document_of(i), "<config>" + std::to_string(i) + "</config>");
        const bool has_oldest = fs::exists(file_of(1));
        EXPECT_EQ(document_of(has_oldest ? 1 : 4), has_oldest ? "<config>1</config>" : document);
        if (fs::exists(file_of(4))) {
            EXPECT_EQ(document_of(4), document) << "after " << cuts;
        }
        add(numbers().back() + 1, "<config/>");
        EXPECT_EQ(document_of(numbers().back()), "<config/>") << "and it goes on";
    }
    EXPECT_GE(cuts, 8);
    fs::remove(log);
}

} // namespace
