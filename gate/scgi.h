/* SPDX-License-Identifier: MIT */
#pragma once

#include <string_view>

#include "request.h"

namespace vorn::gate {

/* What has become of a request that comes in pieces. */
enum class Arrival {
    goes_on,   /* there is more to come */
    complete,  /* the request is whole */
    broken,    /* this is no request, and nobody to answer to */
    long_head, /* the headers pass their bound */
    long_body, /* the body does */
};

/*
 * Reads what has come so far of an SCGI request: a netstring of headers, names and values each with
 * a null byte after it, then the body. Fills the request only when it is complete.
 */
Arrival read_scgi(std::string_view bytes, Request &request);

} // namespace vorn::gate
