/* SPDX-License-Identifier: MIT */
#pragma once

#if defined(__SANITIZE_ADDRESS__)
#    include <sanitizer/lsan_interface.h>
#endif

namespace vorn::tests {

/* While alive, what is made may be left behind: somebody keeps it on purpose. */
class LeftOnPurpose {
public:
    LeftOnPurpose()
    {
#if defined(__SANITIZE_ADDRESS__)
        __lsan_disable();
#endif
    }
    LeftOnPurpose(const LeftOnPurpose &) = delete;
    ~LeftOnPurpose()
    {
#if defined(__SANITIZE_ADDRESS__)
        __lsan_enable();
#endif
    }
};

} // namespace vorn::tests
