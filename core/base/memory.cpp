/* SPDX-License-Identifier: MIT */
#include "core/base/memory.h"

constinit unsigned long vorn::refused_allocations = 0;
