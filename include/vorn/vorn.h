/* SPDX-License-Identifier: MIT */
#ifndef VORN_VORN_H
#define VORN_VORN_H

/** Everything a plugin may call. */

#include "vorn/actions.h"
#include "vorn/amend_info.h"
#include "vorn/api.h"
#include "vorn/changes.h"
#include "vorn/check_info.h"
#include "vorn/class.h"
#include "vorn/commit_info.h"
#include "vorn/commit_report.h"
#include "vorn/committer.h"
#include "vorn/config.h"
#include "vorn/config_files.h"
#include "vorn/debug.h"
#include "vorn/description.h"
#include "vorn/eloop.h"
#include "vorn/explanation.h"
#include "vorn/hash_table.h"
#include "vorn/inform.h"
#include "vorn/input.h"
#include "vorn/instance.h"
#include "vorn/instances.h"
#include "vorn/migration.h"
#include "vorn/notify.h"
#include "vorn/peer.h"
#include "vorn/plugin.h"
#include "vorn/process.h"
#include "vorn/property.h"
#include "vorn/provider.h"
#include "vorn/query.h"
#include "vorn/refresh_info.h"
#include "vorn/refresher.h"
#include "vorn/schema.h"
#include "vorn/service.h"
#include "vorn/socket.h"
#include "vorn/util.h"
#include "vorn/watchdog.h"
#include "vorn/xml.h"

#endif
