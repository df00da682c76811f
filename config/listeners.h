/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/result.h"
#include "core/plugin_page.h"

namespace vorn {

/* Functions that plugins have added, in their order. Fn is called with something and its data. */
template <typename Fn>
class Listeners {
public:
    int add(Fn call, void *data)
    {
        Owned<Listener> listener = make<Listener>();
        if (!listener) return failed;
        *listener = {{}, call, data, current_plugin(), nullptr};
        Listener **end = &first_;
        while (*end)
            end = &(*end)->next;
        *end = listener.release();
        return ok;
    }

    template <typename... What>
    void tell(Callback kind, What... what) const
    {
        for (const Listener *each = first_; each; each = each->next) {
            const InPlugin watched(each->owner, kind);
            each->call(what..., each->data);
        }
    }

private:
    struct Listener : Record {
        Fn call = nullptr;
        void *data = nullptr;
        PluginOwner owner = no_plugin;
        Listener *next = nullptr;
    };

    Listener *first_ = nullptr;
};

} // namespace vorn
