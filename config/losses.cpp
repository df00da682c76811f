/* SPDX-License-Identifier: MIT */
/* Values are none of it: they may be secret, and whoever is told can look. */
#include "config/losses.h"

#include "core/base/quoted.h"

namespace vorn {

void Losses::add(const InstanceTitle &title, const char *property, const LossReason &reason)
{
    lines_.append(Quoted(title.class_name).get());
    if (title.name) {
        lines_.append(" \"");
        lines_.append(Quoted(title.name).get());
        lines_.append("\"");
    }
    if (property) {
        lines_.append(": ");
        lines_.append(Quoted(property).get());
    }
    lines_.append(": ");
    lines_.append(Quoted(reason.get()).get());
    lines_.append("\n");
}

void Losses::add_line(const char *text)
{
    lines_.append(text);
    lines_.append("\n");
}

Text Losses::take()
{
    return lines_.take();
}

} // namespace vorn
