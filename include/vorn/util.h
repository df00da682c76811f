/* SPDX-License-Identifier: MIT */
#ifndef VORN_UTIL_H
#define VORN_UTIL_H

#include "vorn/api.h"
#include "vorn/class.h"
#include "vorn/instance.h"
#include "vorn/refresher.h"
#include "vorn/xml.h"

/**
 * What many plugins need and none should write again: the system, files of /proc, tables of text.
 */

VORN_BEGIN

/* The system. */

/** Ends the event loop; the daemon then asks process 1 to reboot the device. */
VORN_API void vorn_reboot(void);

/**
 * vorn_reboot, logged as "Rebooting the system."; under no-actions nothing but "Rebooting the
 * system is disabled." happens.
 */
VORN_API void vorn_util_reboot(void);

/**
 * Makes a directory with mode 0777 less the umask, unless something of that name exists already.
 * Returns 0, or -1 with errno set.
 */
VORN_API int vorn_util_mkdir(const char *path);

/**
 * The first process in /proc whose status line contains the name, so a name also matches longer
 * command names. Returns its id, or -1 when there is none.
 */
VORN_API int vorn_util_findpid(const char *name);

/**
 * Decodes "%20" and the like in place. A "%" that does not give a byte other than 0 stays as it
 * is, and so does "+".
 */
VORN_API void vorn_util_url_decode(char *text);

/* Status texts: files of /proc turned into lines, lines turned into values. */

/** Appends to the room at output what it makes of one file. The label ends in a blank. */
typedef int (*vorn_util_dir_walk_fn)(char *output, int size, const char *path, const char *label,
                                     const void *user);

/**
 * Calls back for every regular file that the pattern names. Each "*" in it stands for the entries
 * of a directory (but not those that begin with a dot), and adds the entry's name and a blank to
 * the label. The callback gets the end of the text in output and the room left there. Patterns
 * and labels are cut at 78 bytes.
 *
 * Returns the callback's result for a pattern that is a regular file, the result of stat for one
 * that is not, the result of closing the directory after a "*", 0 when it can't be opened.
 */
VORN_API int vorn_util_dir_walk(const char *pattern, char *output, int size, const char *label,
                                vorn_util_dir_walk_fn callback, const void *user);

/**
 * Appends one line of values to the text in output, from a file of "key=value" lines of which the
 * first 2048 bytes are looked at: the prefix, then a value for each column (a null-terminated list
 * of strings), each followed by a blank, the last by a newline. A column without a value leaves it
 * empty; a value that holds a blank is put between double quotes. Size is the whole room at output;
 * what does not fit is left out, and the text is terminated in any case.
 *
 * It fits vorn_util_dir_walk, whose label becomes the prefix and whose user data are the columns.
 * Returns 0, or 1 when the file can't be opened ("Can't open %s." in the log).
 */
VORN_API int vorn_util_add_line_from_proc(char *output, int size, const char *path,
                                          const char *prefix, const void *columns);

/** Fills the buffer with lines. Size is the room there; start is the buffer once more. */
typedef void (*vorn_util_read_fn)(const void *argument, char *buffer, int size, char *start);

/** Turns lines into values. The buffer follows the argument once more. */
typedef void (*vorn_util_parse_fn)(const char *text, const char *const columns[],
                                   const void *argument, ...);

/**
 * Updates one instance of a class, passively, for each line of the text. Values are separated by
 * single blanks (two of them make an empty value) or stand between double quotes; columns are a
 * null-terminated list. The column "name" or "*name" is the instance's name, any other "*key" a
 * condition, "" is ignored, the rest are properties. Values go into the request as they are: one
 * that is no XML text makes the update refused. The class name is the argument, so that a text
 * table can have this function for its parser.
 */
VORN_API void vorn_util_put2object(const char *text, const char *const columns[],
                                   const void *class_name, ...);

/** One source of status values. Plugins define it statically, last_transaction being 0. */
typedef struct vorn_util_txt_table {
    int last_transaction;       /**< vorn_query_transaction_number at the last reading */
    vorn_util_read_fn read;     /**< fills a buffer of 7999 bytes, empty at first */
    const void *read_argument;  /**< given to read */
    vorn_util_parse_fn parse;   /**< called with the buffer */
    const void *parse_argument; /**< given to parse: the class, for vorn_util_put2object */
    const char *const *columns; /**< null-terminated, in the order of a line's values */
} vorn_util_txt_table;

/**
 * The instance's value of a property that one of the tables (a null-terminated list) has a column
 * for; null when none has. The table is read and parsed first, at most once for each operation of
 * a request. A leading "#" of a column, and a leading "*" or "#" of the property, don't count.
 */
VORN_API const char *vorn_util_txt_tables_get_val(vorn_instance *instance,
                                                  vorn_util_txt_table *const tables[],
                                                  const char *property);

/**
 * Adds a property for every column that is not empty and no key: neither writable nor persistent.
 * Returns the result of the last addition.
 */
VORN_API int vorn_util_txt_tables_add_properties(vorn_util_txt_table *const tables[],
                                                 vorn_class *klass);

/** Sets the refresher's function for the same columns. Returns the last result. */
VORN_API int vorn_util_txt_tables_add_refresh(vorn_util_txt_table *const tables[],
                                              vorn_refresher *refresher,
                                              vorn_refresher_property_fn property_fn);

VORN_END

#endif
