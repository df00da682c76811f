/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/check_info_record.h"
#include "vorn/amend_info.h"

/* What is amended is then checked, and refused in the same words. */
struct vorn_amend_info : vorn_check_info {
    using vorn_check_info::vorn_check_info;

    bool has_become = false;  /* another configuration than what was asked for */
    bool is_accepted = false; /* whatever the checks find */
};
