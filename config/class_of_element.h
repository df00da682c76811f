/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn {

/* The child of an instance's element that says which subclass is meant. */
struct Identifier {
    bool is_there;
    const char *text; /* null when it has none */
};

/*
 * The class that an instance's element asks for: that of its name, or the subclass that its child
 * names, which find_identifier looks for in the element. Null after a message.
 */
const char *class_of_element(const char *name, const void *element,
                             Identifier (*find_identifier)(const void *element,
                                                           const char *property));

} // namespace vorn
