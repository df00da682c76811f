/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_LOG_FORWARD_H
#define PLUGINS_LOG_FORWARD_H

#include "judge.h"

/** Where the system's syslogd sends what goes to the log server over TLS. */
#define FORWARD_INLET "127.0.0.1:5140"

/** The class "log-server", and the program. 0, or 1. */
int forward_declare(void);

/** Whether anything is to be sent to the log server. */
int forward_is_wanted(const vorn_instances *configuration);

/** What is wrong with the log server, if it is set: nothing is sent then. */
int forward_judge(const vorn_instances *configuration, const vorn_instance *server, fault *found);

/** Has it sent, or not; also without a change, for somebody may have changed the file. */
void forward_apply(const vorn_instances *configuration);

/** Says what that would come to. */
void forward_explain(vorn_explanation *explanation, const vorn_instances *configuration);

/** For the property "state". */
const char *forward_state(vorn_instance *server, const char *property, vorn_refresh_info *info);

#endif
