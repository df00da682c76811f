/* SPDX-License-Identifier: MIT */
#ifndef PLUGINS_COMMON_DECLARE_H
#define PLUGINS_COMMON_DECLARE_H

/*
 * What every reference plugin writes when it declares itself. Each call answers 0, or 1 after
 * the daemon has logged why not.
 */

#include "vorn/vorn.h"

/** A new class of the given type whose values are saved; null when it can't be made. */
vorn_class *declare_class(const char *name, int type);

/**
 * A new abstract class with that subclass identifier, saved like its subclasses; null when it can't
 * be made.
 */
vorn_class *declare_abstract_class(const char *name, const char *identifier);

/**
 * A property that clients may write, if its value passes. The syntax tells them what does, as
 * vorn_property_set_syntax has it.
 */
int declare_setting(vorn_class *klass, const char *name, vorn_is_valid_fn is_valid,
                    const char *syntax);

/** The same, without which no instance is made. */
int declare_required(vorn_class *klass, const char *name, vorn_is_valid_fn is_valid,
                     const char *syntax);

/** A property that clients may write, with one of those words; a null after the last. */
int declare_one_of(vorn_class *klass, const char *name, const char *const words[]);

/** With a number of those, or with what one of the kinds of VORN_INPUT_ takes; 0 for no kinds. */
int declare_number(vorn_class *klass, const char *name, int from, int to, int kinds);

/** With a text of so many characters. */
int declare_text(vorn_class *klass, const char *name, int fewest, int most);

/** With so many characters of the ranges, as vorn_property_accept_characters has them. */
int declare_characters(vorn_class *klass, const char *name, const char *ranges, int fewest,
                       int most);

/** With up to so many characters of the ranges, and the function knows which of them. */
int declare_judged(vorn_class *klass, const char *name, const char *ranges, int most,
                   vorn_is_valid_fn is_valid);

/** With a list of such words; the function is given the whole of it. */
int declare_judged_list(vorn_class *klass, const char *name, const char *ranges, int most,
                        vorn_is_valid_fn is_valid);

/** With what one of the kinds of VORN_INPUT_ takes. */
int declare_input(vorn_class *klass, const char *name, int kinds);

/** With a list of what one of the kinds takes, blanks between. */
int declare_list(vorn_class *klass, const char *name, int kinds);

/**
 * With the name of an instance of the class, or with what one of the kinds takes; 0 for no kinds.
 * The function says what else a name has to be; null for nothing.
 */
int declare_name(vorn_class *klass, const char *name, const char *class_name,
                 vorn_is_valid_fn is_valid, int kinds);

/** Lets no instance be made without that property. */
int declare_needed(vorn_class *klass, const char *name);

/** A property that only plugins write, and that is not saved. */
int declare_state(vorn_class *klass, const char *name);

/** Such properties, a null after the last: the refresher has the function tell each of them. */
int declare_told(vorn_class *klass, const char *const properties[], vorn_refresher *refresher,
                 vorn_refresher_property_fn tell);

/**
 * A class of instances that only plugins make, with those properties, a null after the last. It is
 * put into the registry. Answers 0 or 1.
 */
int declare_shown(const char *name, int type, const char *const properties[]);

/**
 * Such properties of a class tell of other instances, a null after the last: who may not read all
 * there is reads none of them.
 */
int declare_about_others(vorn_class *klass, const char *const properties[]);

/**
 * Registers a provider whose commits go to the committer, before the configuration is saved. The
 * function explains them.
 */
int declare_provider(const char *name, vorn_committer *committer, vorn_refresher *refresher,
                     vorn_explain_fn explain);

/** The validators take text and length; a property's validity function has the text alone. */
#define DECLARE_VALIDITY(name, call)                                                               \
    static int name(const char *value)                                                             \
    {                                                                                              \
        const int length = (int)strlen(value);                                                     \
        return call;                                                                               \
    }

#endif
