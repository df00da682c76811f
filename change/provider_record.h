/* SPDX-License-Identifier: MIT */
#pragma once

#include "core/base/memory.h"
#include "core/base/text.h"
#include "core/plugin_page.h"
#include "vorn/provider.h"

struct vorn_provider : vorn::Record {
    vorn::Text name;
    vorn::PluginOwner owner = vorn::no_plugin;
    vorn_commit_fn commit_fn = nullptr;
    void *commit_data = nullptr;
    vorn_refresh_fn refresh_fn = nullptr;
    void *refresh_data = nullptr;
    bool asks_first = false; /* the refresh function, what is selected */
    vorn_check_fn check_fn = nullptr;
    void *check_data = nullptr;
    vorn_explain_fn explain_fn = nullptr;
    void *explain_data = nullptr;
    vorn_amend_fn amend_fn = nullptr;
    void *amend_data = nullptr;
    vorn_provider *next = nullptr; /* in the order, once there is one */
};
