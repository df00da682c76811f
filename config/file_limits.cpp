/* SPDX-License-Identifier: MIT */
/*
 * A text takes up to six times its length in a file, where its markup is escaped. Whoever reads
 * files takes texts of any length, so that it is the length of the text itself that counts.
 */
#include "config/file_limits.h"

#include "core/base/limits.h"
#include "services/xml/xml.h"

#include <cstring>

namespace vorn {

bool file_may_hold(const char *text)
{
    return std::strlen(text) <= longest_text_in_file && is_xml_text(text);
}

bool file_may_name(const char *name)
{
    return std::strlen(name) <= longest_name_in_file && is_xml_name(name);
}

} // namespace vorn
