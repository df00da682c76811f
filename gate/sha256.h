/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <string_view>

namespace vorn::gate {

/* The SHA-256 of the bytes in 64 hexadecimal digits. */
std::string sha256(std::string_view bytes);

/* So many bytes by chance, in twice as many digits; throws std::bad_alloc where there is none. */
std::string random_digits(std::size_t bytes);

/* Takes the same time wherever the two differ. */
bool is_same_secret(std::string_view one, std::string_view other);

} // namespace vorn::gate
