/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_FIREWALL_CONCERNS_H
#define PLUGINS_FIREWALL_CONCERNS_H

#include "judge.h"

/* What is declared, what is valid, and what is wrong with an instance in view of the others. */

enum { longest_tag = 32, longest_comment = 100 };

/** What is told of the classes when it is asked for. */
typedef struct telling {
    vorn_refresher_property_fn state;    /* of every class */
    vorn_refresher_property_fn counter;  /* "packets" and "bytes" of a rule */
    vorn_refresher_pre_refresh_fn count; /* called before them */
} telling;

enum { class_count = 5 };
extern const char *const firewall_classes[class_count + 1]; /* and a null */

/** Makes the classes and a refresher of each. 0, or 1 after the daemon has logged why not. */
int classes_declare(const telling *tell, vorn_refresher *refreshers[class_count]);

/** Whether it is 4 or 6 for an address or a network, with a prefix or without, or neither: 0. */
int family_of_network(const char *text);

/** Whether the text can be part of a name for nft: letters, digits, ".", "-" and "_". */
int is_tag(const char *text);

/** Whether there is an instance of the firewall, and it is on. */
int is_filtering(const vorn_instances *configuration);

/**
 * Why the instance of any of these classes can't be as it is. A zone is in force nevertheless;
 * anything else is left out.
 */
int firewall_judge(const vorn_instances *configuration, const vorn_instance *instance,
                   fault *found);

/** Whether both can be the name of one interface; a "*" at the end stands for anything. */
int overlap(const char *left, const char *right);

/** Whether the instance is enabled and has no fault. */
int is_in_force(const vorn_instances *configuration, const vorn_instance *instance);

/** Whether a value is more than blanks. */
int has_words(const vorn_instance *instance, const char *property);

/** Whether an instance is switched on, as it is where nobody has said. */
int is_enabled(const vorn_instance *instance);

/** Whether the rule can be about packets of that family, 4 or 6. */
int allows_family(const vorn_instance *rule, int family);

/** Ports as "80" or "80-90"; of one the last is the first. */
typedef struct port_range {
    int first;
    int last;
} port_range;

/** Whether the text is that. */
int read_ports(const char *text, port_range *found);

#endif
