/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/changes_record.h"
#include "config/config_read.h"
#include "config/config_write.h"
#include "model/instances_walk.h"
#include "support/allocation.h"
#include "support/builders.h"
#include "vorn/changes.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>

namespace vorn::tests {

/* A folder of its own, gone at the end with all that is in it. */
class ScratchFolder {
public:
    ScratchFolder()
    {
        std::string name = testing::TempDir() + "vorn-config-XXXXXX";
        path_ = mkdtemp(name.data());
    }
    ScratchFolder(const ScratchFolder &) = delete;
    ~ScratchFolder() { std::filesystem::remove_all(path_); }

    std::string operator/(const std::string &name) const { return path_ + "/" + name; }
    std::size_t file_count() const
    {
        return static_cast<std::size_t>(
            std::distance(std::filesystem::directory_iterator(path_), {}));
    }

private:
    std::string path_;
};

inline std::string content(const std::string &path)
{
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
}

inline void write(const std::string &path, const std::string &text)
{
    std::ofstream(path) << text;
}

/* A persistent class of every type, one class that is never saved, a store and a file for it. */
class ConfigTest : public ModelTest {
protected:
    ConfigTest()
    {
        log.set_level(0);
        ClassBuilder("Board", VORN_CLASS_SINGLETON)
            .persistent()
            .with("label")
            .with("uptime", unsaved)
            .add_resolved();
        ClassBuilder("Radio").persistent().with("channel", numeric).with("mode").add_resolved();
        ClassBuilder("Route", VORN_CLASS_ANONYMOUS).persistent().with("to").add_resolved();
        ClassBuilder("Acl", VORN_CLASS_GROUP_NAMED).persistent().with("mac").add_resolved();
        ClassBuilder("Station").with("signal").add_resolved();
        ClassBuilder("Key").persistent().with("serial", required).add_resolved();
        ClassBuilder("Address").persistent().abstract("kind").with("metric").add_resolved();
        ClassBuilder("Static").persistent().below("Address").with("ip").add_resolved();
        ClassBuilder("Lease").persistent(0).below("Address").add_resolved();
    }

    ~ConfigTest() override
    {
        changes.reset();
        vorn_instances_delete_all(store);
    }

    vorn_instance *put(const char *class_name, const char *name,
                       std::initializer_list<Value> values = {})
    {
        vorn_instance *instance =
            new_instance(vorn_classes_get(class_name), name, values).release();
        EXPECT_EQ(vorn_instances_add(store, instance), 0);
        return instance;
    }

    bool save() { return write_config(store, file.c_str()); }
    /* What a save writes between the root's tags. */
    std::string saved()
    {
        EXPECT_TRUE(save());
        return inside(content(file));
    }
    static std::string inside(const std::string &document)
    {
        const std::string head = "<?xml version=\"1.0\"?>\n<config>\n";
        const std::string tail = "</config>\n";
        if (document == "<?xml version=\"1.0\"?>\n<config/>\n") return "";
        EXPECT_EQ(document.substr(0, head.size()), head);
        return document.substr(head.size(), document.size() - head.size() - tail.size());
    }

    void load(const std::string &body)
    {
        write(file, "<config>" + body + "</config>");
        EXPECT_TRUE(load_file());
    }
    /* Allocations of the loading alone count. */
    bool load_file()
    {
        ConfigDocument document = parse_config(file.c_str());
        if (!document) return false;
        return read_instances(document, store, changes.get());
    }
    /* Every instance with its values, as vorn_instances_print shows the store. */
    std::string loaded() const
    {
        return printed([this](std::FILE *stream) { vorn_instances_print(store, stream); });
    }

    ScratchFolder folder;
    std::string file = folder / "config.xml";
    vorn_instances *store = vorn_instances_new();
    Owned<vorn_changes> changes{vorn_changes_new(store)};
};

} // namespace vorn::tests
