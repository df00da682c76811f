/* SPDX-License-Identifier: MIT */
#include "vorn-plugin/patience.h"

#include <time.h>

enum { all_is_back_us = 1000000 };

static int64_t left_us = patience_us; /* at that time */
static int64_t at_us;

int64_t patience_now_us(void)
{
    struct timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return (int64_t)now.tv_sec * 1000000 + now.tv_nsec / 1000;
}

int64_t patience_left_us(int64_t now_us)
{
    const int64_t since_us = now_us - at_us < all_is_back_us ? now_us - at_us : all_is_back_us;
    const int64_t left_now_us = left_us + since_us * patience_us / all_is_back_us;
    return left_now_us < patience_us ? left_now_us : patience_us;
}

void patience_spend(int64_t began_us, int64_t ended_us)
{
    const int64_t left_then_us = patience_left_us(began_us) - (ended_us - began_us);
    left_us = left_then_us > 0 ? left_then_us : 0;
    at_us = ended_us;
}
