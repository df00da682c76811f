/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/check_info_record.h"

namespace vorn {

/*
 * Lets every provider's check function look, in the order of providers. Without memory the record
 * says so, and what it holds is not to be believed.
 */
void check_by_providers(vorn_check_info &info);

} // namespace vorn
