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

} // namespace vorn
