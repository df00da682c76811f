/* SPDX-License-Identifier: MIT */
/* What is asked of the class trial, and what it tells. */
#pragma once

#include <string>

#include "configured_device.h"

namespace vorn::tests {

inline std::string transaction(const std::string &operations, const std::string &attributes = "")
{
    return "<lsql" + attributes + "><write-transaction>" + operations +
           "</write-transaction></lsql>";
}

inline std::string trial(const std::string &values)
{
    return "<update><trial>" + values + "</trial></update>";
}

inline std::string channel(const std::string &radio, const std::string &value)
{
    return "<update><Radio name=\"" + radio + "\"><channel>" + value +
           "</channel></Radio></update>";
}

/* For functions that are no part of a test. */
struct OpenDevice : Device {
    using Device::lsql;
    using Device::shell;
};

inline std::string told(const std::string &property)
{
    const std::string answer =
        OpenDevice::lsql("<lsql><select><trial><" + property + "/></trial></select></lsql>");
    const auto begin = answer.find("<" + property + ">");
    if (begin == std::string::npos) return "";
    const auto text = begin + property.size() + 2;
    return answer.substr(text, answer.find("</" + property + ">") - text);
}

/* Every file under /etc with all that a write would change. */
inline std::string files()
{
    return OpenDevice::shell("find /etc -type f -printf '%p %T@ %C@ %i %s\\n' | sort");
}

} // namespace vorn::tests
