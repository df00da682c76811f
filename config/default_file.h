/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/md5.h"
#include "core/base/file.h"

#include <cstdio>

namespace vorn {

struct DefaultHeader {
    long length = 0;
    char md5sum[md5_length + 1] = "";
};

/* Reads the lines before the document. 0, or a code from 1 to 13 after a message. */
int read_default_header(std::FILE *file, DefaultHeader &header);

/*
 * Puts the default configuration in the startup file's place, if its digest is right. 0, or a
 * code: 1 no default file (said at level 1 only), 2 no scratch copy, 3 no checksum list, 4 wrong
 * digest, 5 not readable, 6 the startup file can't be written, 101 to 113 a bad header.
 */
int copy_checked_default(const char *default_file, const char *startup_file);

/* Whether such a code says something of where it was to be copied to, and nothing of the default.
 */
bool could_not_be_copied(int code);

/*
 * The default file, open where its document begins, with the document's length as the header has
 * it; empty unless the digest is right. Needs no scratch file.
 */
File open_checked_default(const char *default_file, long &length);

/* Writes the default file from a document that lies in the scratch file. ok or failed. */
int write_default_file(const char *default_file);

} // namespace vorn
