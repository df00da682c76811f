/* SPDX-License-Identifier: MIT */
#pragma once

#include <libxml/tree.h>

namespace vorn {

/*
 * While it lives, secrets that a request names stand in its document as they are shown to others,
 * so that it can be logged; nobody evaluates it meanwhile. Takes no memory, and can't fail.
 */
class SecretsHidden {
public:
    explicit SecretsHidden(xmlDoc *request);
    SecretsHidden(const SecretsHidden &) = delete;
    ~SecretsHidden();

private:
    xmlNode *root_;
};

} // namespace vorn
