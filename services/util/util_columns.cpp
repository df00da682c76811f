/* SPDX-License-Identifier: MIT */
#include "services/util/util_columns.h"

namespace vorn {

int find_column(const char *const *columns, std::string_view name)
{
    if (!name.empty() && (name.front() == '*' || name.front() == '#')) name.remove_prefix(1);

    for (int column = 0; columns[column]; column++) {
        if (name == columns[column] + (*columns[column] == '#')) return column;
    }
    return -1;
}

} // namespace vorn
