/* SPDX-License-Identifier: MIT */
#pragma once

namespace vorn::gate {

/* The document without the classes. */
extern const char openapi_base[];

} // namespace vorn::gate
