/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "device.h"

namespace vorn::client {

struct Property {
    std::string name;
    bool readable = true;
    bool writable = true;
    bool required = false;
    bool persistent = true;
    bool inherited = false;
    std::string references; /* the class whose instances the value names; empty for none */
    bool secret = false;
    std::string valid; /* alternatives with "|" between them; empty where it is not told */
    /* For people; empty where it is not told. */
    std::string label;
    std::string help;
    std::string unit;
    std::string example;
    std::string order;
};

struct Class {
    std::string name;
    std::string type;
    bool persistent = true;
    bool abstract = false;
    std::string superclass;          /* empty for none */
    std::string subclass_identifier; /* empty for none */
    std::string label;               /* for people; empty where it is not told, as the next */
    std::string help;
    std::vector<Property> properties; /* the superclass's first */

    bool is_named() const { return type == "unique-named" || type == "group-named"; }
    const Property *find(std::string_view property) const;
};

/*
 * What the device has, as its schema plugin tells; empty on a device without that plugin, where
 * most commands do without.
 */
class Schema {
public:
    static Schema of(Device &device);
    /* Of the instances of its two classes. */
    static Schema of(const std::vector<Instance> &classes, const std::vector<Instance> &properties);
    /* The same, or a Failure that says what is missing. */
    static Schema required_of(Device &device);

    bool known() const { return !classes_.empty(); }
    const std::vector<Class> &classes() const { return classes_; }
    const Class *find(std::string_view name) const;
    /* The class's property, or one of its family's if it is abstract. */
    const Property *find_property(std::string_view class_name, std::string_view property) const;
    bool is_secret(std::string_view class_name, std::string_view property) const;
    /* The abstract class of a family, or the class itself. */
    std::string family_of(const std::string &class_name) const;
    std::vector<std::string> class_names() const;
    /* Of an abstract class. */
    std::vector<std::string> subclasses_of(const std::string &class_name) const;
    /* The class's own, or its whole family's if it is abstract. */
    std::vector<std::string> properties_of(const std::string &class_name) const;
    /* False only for a class that is known to have one nameless instance, or nameless ones. */
    bool may_have_name(const std::string &class_name) const;
    /* False for a class that is not saved and of which a client can give nothing: only the device
       makes its instances. */
    bool is_for_clients(const Class &klass) const;

private:
    std::vector<Class> classes_;
};

} // namespace vorn::client
