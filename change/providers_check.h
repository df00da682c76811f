/* SPDX-License-Identifier: MIT */
#pragma once

#include "change/amend_info_record.h"

namespace vorn {

/*
 * Lets every provider's check function look, in the order of providers. Without memory the record
 * says so, and what it holds is not to be believed.
 */
void check_by_providers(vorn_check_info &info);

/* Lets every provider's amend function do its work in the same order, with the same proviso. */
void amend_by_providers(vorn_amend_info &info);

} // namespace vorn
