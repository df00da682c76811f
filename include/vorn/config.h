/* SPDX-License-Identifier: MIT */
#ifndef VORN_CONFIG_H
#define VORN_CONFIG_H

#include "vorn/api.h"
#include "vorn/instances.h"

#include <stddef.h>
#include <stdint.h>

/**
 * The running configuration is the store that the daemon serves and the providers apply. At boot
 * it is filled from the startup file; nothing is saved until somebody asks for it, as a rule a
 * plugin whose provider is the last one.
 *
 *     static void save(vorn_commit_info *info)
 *     {
 *         vorn_config_copy_running_to_startup();
 *     }
 *
 * - startup, /etc/config/config.xml: loaded at boot, written by a save.
 * - default, /etc/defaultconfig.xml: the factory's, or made by vorn_config_copy_running_to_default.
 * - rescue, /etc/rescueconfig.xml: the last resort, which the daemon never writes.
 *
 * What can't be read gives way to the next: startup, default, rescue. All are documents like
 *
 *     <config>
 *       <Radio name="radio0"><channel>6</channel></Radio>
 *     </config>
 *
 * with an element for each instance, named by its class, or by the abstract class when it has one;
 * the identifier among the values tells the subclass then. In the default, header lines stand
 * before the document, in any order, and an empty line ends them: "Version: 1", "Length: " and the
 * document's bytes, "MD5sum: " and its digest as md5sum prints it.
 *
 * A file is replaced whole: written beside its place under the name with ".new" appended, flushed
 * to the disk, renamed. If any of that fails ("Can't open %s.\n" with the path, "Can't write %s:
 * %s.\n" with the reason after it), the old file stays. A symbolic link is replaced itself.
 * Scratch files stay in /tmp: defaultconfig.xml, defaultconfig.xml.md5 and md5.gen.
 *
 * Statuses are 0 for success and 1 for failure. Messages are errors, which are always logged,
 * unless told otherwise. A copy announced is a call of vorn_notify_conf_change with
 * vorn_query_origin, after everything has been flushed with sync.
 */

/* libxml2's xmlDoc and xmlNode, so that a plugin that does not use them needs no libxml2. */
struct _xmlDoc;
struct _xmlNode;

VORN_BEGIN

/**
 * Makes sure that there is a startup file. Called once by start-up, before the boot load. Without
 * one the default is copied there, as by vorn_config_copy_default_to_startup but unannounced, or
 * else the rescue; a good default that finds no place there is left to the load. Returns 0.
 */
VORN_API int vorn_config_init(void);

/**
 * The running configuration: null before the boot load, never afterwards. It is replaced whole by
 * every write transaction, so ask for it each time.
 */
VORN_API vorn_instances *vorn_config_get_running(void);

/**
 * Makes a store the running one and takes it over. The old store is deleted without its instances,
 * which others may still hold; whoever knows that nobody does frees them. Nobody is told: commit
 * the changes. Null, or the running store itself, changes nothing.
 *
 * Returns the running store.
 */
VORN_API vorn_instances *vorn_config_replace_running(vorn_instances *instances);

/**
 * Saves: writes the startup file and announces it, also when it could not be written. What came of
 * it tells vorn_config_get_save_result.
 *
 * Instances of persistent classes are written with the values of their persistent properties,
 * class by class in the order of registration. What no document can hold (control characters, text
 * that is not UTF-8 or longer than ten million bytes, a property whose name is no XML name) is left
 * out: "Can't save %s of instance \"%s\" of class \"%s\": XML can't hold it.\n" with the property,
 * or "the name" for a whole instance. Without the memory for the whole document nothing is written:
 * "No memory to write %s.\n". What the load skipped and keeps is written after what is known, see
 * vorn_config_get_kept. Nor is anything written while a plugin is missing that took part in the
 * last save, if the load could not keep all that it had to skip: "Not saving: the plugin \"%s\" is
 * missing, and what is its own would be lost.\n". Nor is anything written while the running
 * configuration lacks what its load had no memory for, until the next load that is whole: "Not
 * saving: the configuration was not loaded whole for want of memory.\n".
 *
 * Returns 0.
 */
VORN_API int vorn_config_copy_running_to_startup(void);

/** What vorn_config_get_save_result answers. */
enum {
    VORN_SAVE_NONE = 0,   /**< nothing has been saved since the daemon started */
    VORN_SAVE_DONE = 1,   /**< the startup file holds the running configuration */
    VORN_SAVE_FAILED = 2, /**< it does not, for a reason */
    VORN_SAVE_HELD = 3,   /**< it does not, because saving is held */
};

/** What the last vorn_config_copy_running_to_startup came to. */
VORN_API int vorn_config_get_save_result(void);

/**
 * Why the last save has failed, in a few words without a full stop: "No space left on device"; ""
 * when it has not. The text holds until the next save.
 */
VORN_API const char *vorn_config_get_save_reason(void);

/**
 * Holds saving, for a configuration that has yet to prove itself: whatever resets the device takes
 * it back. Until it is released
 *
 * - none of the copies below writes a file: each logs "Not saving: %s.\n" with the sentence, fails
 *   where it can, and vorn_config_get_save_result is VORN_SAVE_HELD after a save. The change is
 *   still announced;
 * - no load of the startup file takes place, with the same message;
 * - vorn_config_write_file keeps in memory what it is given;
 * - a request that is no write transaction, and would change an instance of a persistent class, is
 *   refused with the sentence: it could not be told from what is on trial.
 *
 * The sentence, which is cut at 159 bytes, begins with a small letter and has no full stop. A
 * second hold replaces it. One that begins in an amend or check function is released at once when
 * its transaction is refused after all. Returns 0, or 1 for null ("Null sentence.\n" at debug level
 * 1).
 */
VORN_API int vorn_config_hold(const char *sentence);

/**
 * Lets saves be made again; what vorn_config_write_file has kept is dropped, and
 * vorn_config_get_save_result and its siblings tell of the last save before the hold.
 */
VORN_API void vorn_config_release(void);

/** 1 while saving is held. */
VORN_API int vorn_config_is_held(void);

/**
 * Saves although saving is held, and releases it: the files that belong to the configuration first,
 * then the startup file, which is announced. Returns 0, or 1 when either can't be written, with the
 * reason as after a save; saving stays held then. 1 also when it is not held.
 */
VORN_API int vorn_config_confirm_held(void);

/** What hears of a save. The document ends with a NUL that is not counted. */
typedef void (*vorn_config_saved_fn)(const char *document, size_t size, void *data);

/**
 * Has a function called after each save that wrote the startup file, with what it wrote. Returns 0,
 * or 1 without memory and for null ("Null fn.\n" at debug level 1).
 */
VORN_API int vorn_config_add_saved_fn(vorn_config_saved_fn fn, void *data);

/** What is called before the first load. */
typedef void (*vorn_config_load_fn)(void *data);

/**
 * Has a function called once: after all plugins are loaded and the registries closed, and before
 * the startup file is looked at for the first time. It may put another file in its place, or remove
 * it, and the boot load then takes what is there. Returns 0, or 1 without memory and for null
 * ("Null fn.\n" at debug level 1).
 */
VORN_API int vorn_config_add_load_fn(vorn_config_load_fn fn, void *data);

/**
 * The document that a save of a store would write. The caller frees it. Null for a null store
 * ("Null instances.\n" at debug level 1) and without memory.
 */
VORN_API char *vorn_config_write_document(const vorn_instances *instances);

/**
 * Makes of a document what it would be in other versions of the plugins, which they declare with
 * vorn_plugin_set_schema: in those that are named, "radio=2 time=1", and of the others in the ones
 * that are declared; null for all of these. Ways back are taken where versions are earlier than the
 * document's. Nothing that runs changes for it.
 *
 * losses, unless it is null, gets what is lost, a line for each with the instance, the property and
 * the reason, "" for nothing: "Radio \"r0\": turbo: it is dropped in version 3\n". The class is
 * called as in the document that is given.
 *
 * What can't go back stays in the document, where its version knows nothing of it. Where another
 * value had become the same in an earlier version, the first one in the table comes back.
 *
 * The caller frees both texts. Null, and no losses, for a null document ("Null document.\n" at
 * debug level 1), for one that is none, for a version that is not declared or greater than the
 * declared one ("There is no schema \"%s\".\n", "The schema \"%s\" has no version later than
 * %u.\n", "These are no versions: \"%s\".\n"), and without memory.
 */
VORN_API char *vorn_config_migrate(const char *document, const char *versions, char **losses);

/** When the last save was tried, in seconds since 1970; 0 when none was. */
VORN_API int64_t vorn_config_get_save_time(void);

/**
 * Where the running configuration was loaded from: "startup", "default", "rescue", or "nothing"
 * when none of the three could be read.
 */
VORN_API const char *vorn_config_get_source(void);

/**
 * Where the startup file is kept that a load could not read, with no other to take its place:
 * /etc/config/config.xml.broken, the newest. Where the disk takes no such file, it is the startup
 * file itself, which no save replaces before it is kept or forgotten. Null when there is none.
 */
VORN_API const char *vorn_config_get_broken(void);

/**
 * What the last load could not read and keeps, by its rank from 0 on, in a few words: "Radio
 * \"wlan0\"" for an instance, "Radio \"wlan0\": power" for values of one, by the first of them, and
 * "Radio \"wlan0\", another one" for an instance whose name the file has before it, or the running
 * configuration. The text holds until the next call. Null after the last.
 */
VORN_API const char *vorn_config_get_kept(unsigned int rank);

/** Keeps none of it any longer: the next save is without. */
VORN_API void vorn_config_forget_kept(void);

/**
 * Keeps none any longer of a class, or of those only that are listed under a name; null stands for
 * all classes and for all names. The next save is without. Returns how many there were.
 */
VORN_API unsigned int vorn_config_forget_kept_of(const char *class_name, const char *name);

/**
 * Removes the kept file; a startup file that is still to be kept is left to the next save. Returns
 * 0, also when there is none, or 1 ("Can't remove %s: %s.\n").
 */
VORN_API int vorn_config_forget_broken(void);

/**
 * Makes the running configuration the default. The document is written as by a save, into
 * /tmp/defaultconfig.xml, and its digest is taken from there by /usr/bin/md5sum, also under
 * no-actions. Not announced.
 *
 * Returns 0, or 1 with the default as it was: "Can't stat /tmp/defaultconfig.xml.\n" when the
 * document is not there, "Can't open %s.\n" for a file that can't be opened, "Can't read %s.\n",
 * "Can't compute the checksum of /tmp/defaultconfig.xml.\n", or the "Not saving: " of a save.
 */
VORN_API int vorn_config_copy_running_to_default(void);

/**
 * Loads the startup file: makes a new running configuration of it and commits that through all
 * providers, each instance being inserted. A file that can't be parsed is first replaced, as by
 * vorn_config_copy_default_to_startup: "Unable to parse startup config - resetting to default.\n".
 *
 * Bad pieces are skipped with a message each, and never end the load:
 * - an instance whose class can't be told, see vorn_config_get_class_name;
 * - an instance with a name where there may be none, or none where there must be one: "Bad instance
 *   name \"%s\" of class \"%s\"- skipping.\n";
 * - a value: "Property \"%s\" is not valid for class \"%s\" - skipping.\n" for an unknown property,
 *   "Value \"%s\" is not valid for property \"%s\" of class \"%s\" - skipping.\n" for one that was
 *   refused;
 * - what vorn_instance_is_valid finds invalid: "Instance is invalid: %s Skipping instance.";
 * - a name that is taken, or a second singleton: "Couldn't add instance \"%s\" of class \"%s\".
 *   Skipping instance.\n".
 *
 * What is skipped is kept as it was read, up to a mebibyte, for the next save ("More than can be
 * kept is unknown: %u pieces are not.\n"), but for what is never saved and for names that are
 * taken.
 *
 * What the providers' check functions refuse is loaded all the same; before the commit: "Loaded in
 * spite of this: %s\n".
 *
 * The text of a property is that of the first node in its element, "" if that holds no text. Each
 * singleton that the file leaves out is made, without values.
 *
 * A default or a rescue that can't be copied to the startup file's place is read where it lies.
 *
 * Returns 0, or 1 when no document can be read after the fallback ("Unable to read the default
 * either.") or memory is gone; the running configuration stays what it was then, at boot one with
 * the singletons alone, which is committed. What a parse failed for precedes: "Config not parsed
 * successfully.\n", "Empty document.\n" or "Document of the wrong type: root node is not
 * \"config\".".
 *
 * Called from within a commit, a check or a refresh it loads nothing, logs "Can't load a
 * configuration while another one is being changed.\n" and returns 1.
 */
VORN_API int vorn_config_copy_startup_to_running(void);

/**
 * Copies the default's document over the startup file if its digest is right, and announces it.
 * The daemon goes on with the running configuration.
 *
 * Returns 0, or 1 after vorn_config_copy_rescue_to_startup has been called instead. "Error %d
 * copying default config.\n" then tells the reason, which has a message of its own before it:
 *
 *     1         "Default file %s does not exist.\n" at level 1, and no "Error 1 ..."
 *     2         the scratch copy of the document can't be written
 *     3         the list for md5sum can't be written
 *     4         "%s failed checksum.\n"; always so under no-actions, which runs no md5sum
 *     5         "Can't open %s.\n": the default is there, but can't be opened
 *     6         the startup file can't be written
 *     101       "Headers ended prematurely in default.\n"
 *     102       "Couldn't read header line in default.\n": no ": ", or 1024 bytes and more
 *     103       "Bad default Version: %s.\n": not "1"
 *     104       "Bad default Length: %s.\n": no number
 *     105       "Bad default Md5sum: %s.\n": not 32 characters
 *     106       "Bad default header name: %s.\n"
 *     107-113   "Headers are missing.\n": 107, plus 1 if the length was there, 2 if the version
 *               was, 4 if the digest was
 */
VORN_API int vorn_config_copy_default_to_startup(void);

/**
 * Copies the rescue over the startup file and announces it, also when it could not be copied:
 * "vorn_config_cp: Can't open %s\n" with the path of either. Returns 0.
 */
VORN_API int vorn_config_copy_rescue_to_startup(void);

/**
 * Removes the default, so that the next fallback ends at the rescue. Returns 0, or 1 when it can't
 * be removed, with the system's reason on standard error ("unlink").
 */
VORN_API int vorn_config_copy_rescue_to_default(void);

/**
 * The name of the class that an instance element stands for: that of the element, or of the
 * subclass that its identifier names if that class is abstract. The name belongs to the class, or
 * to the document.
 *
 * Returns null after one of these: "Null element.\n" at level 1; "Instance has an unknown class
 * \"%s\".\n"; "Instance of class \"%s\" does not contain a subclass identifier property \"%s\".\n";
 * and, beginning with "Instance of class \"%s\" subclass identifier property \"%s\"", "has a null
 * value.\n", "value is an unknown class \"%s\".\n", "value is \"%s\", which is not a subclass of
 * \"%s\".\n".
 */
VORN_API const char *vorn_config_get_class_name(struct _xmlDoc *document, struct _xmlNode *element);

/**
 * The startup file, byte for byte, which the caller frees. Instead of it there is an error document
 * ("<?xml version=\"1.0\"?><error>%s</error>\n") with "Can't read config file.", "Config file is
 * zero-length." or "vorn_config_get_startup_as_xml malloc failed"; null when there is no memory for
 * that either.
 */
VORN_API char *vorn_config_get_startup_as_xml(void);

VORN_END

#endif
