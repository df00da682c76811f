/* SPDX-License-Identifier: MIT */
#pragma once

/* There only where leaks are looked for, be it that a sanitizer or a tool brings the check. */
extern "C" __attribute__((weak)) void __lsan_disable();
extern "C" __attribute__((weak)) void __lsan_enable();

namespace vorn::tests {

/* While alive, what is made may be left behind: somebody keeps it on purpose. */
class LeftOnPurpose {
public:
    LeftOnPurpose()
    {
        if (__lsan_disable) __lsan_disable();
    }
    LeftOnPurpose(const LeftOnPurpose &) = delete;
    ~LeftOnPurpose()
    {
        if (__lsan_enable) __lsan_enable();
    }
};

} // namespace vorn::tests
