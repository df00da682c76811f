/* SPDX-License-Identifier: MIT */
#pragma once

struct vorn_instances;

namespace vorn {

using ChangeHandler = void (*)(const vorn_instances *store);

/*
 * Called before anything that an answer may have told becomes another; null while nobody wants to
 * hear of it, so that a change costs a look at one pointer. The store is given by who knows it:
 * what comes into one that nobody reads, or leaves it, is told by nobody.
 */
extern constinit ChangeHandler change_awaited;

inline void about_to_change(const vorn_instances *store = nullptr)
{
    if (change_awaited) change_awaited(store);
}

/* The same for those who want to hear of nothing but who may do what. */
using RightsHandler = void (*)();
extern constinit RightsHandler rights_awaited;

inline void rights_are_about_to_change()
{
    about_to_change();
    if (rights_awaited) rights_awaited();
}

/* What a client can wait for. */
enum class Awaited : unsigned char { nothing, change, rights };

} // namespace vorn
