/* SPDX-License-Identifier: MIT */
#pragma once

#include "config/config_document.h"
#include "core/base/result.h"
#include "core/base/text.h"
#include "core/base/text_buffer.h"
#include "core/hash_table/table.h"
#include "model/instance_record.h"
#include "services/xml/xml_writer.h"
#include "vorn/changes.h"

#include <utility>

namespace vorn {

/* What is kept takes no more than this, whatever a file holds. */
constexpr std::size_t most_kept_bytes = std::size_t{1} << 20;

/* Texts one after the other, each there or absent. */
class PieceTexts {
public:
    void add(const char *text);
    /* Ends what belongs together. */
    void end();
    bool is_empty() const { return texts_.size() == 0 && !texts_.failed(); }
    TextBuffer &buffer() { return texts_; }

private:
    TextBuffer texts_;
};

/*
 * What stands beside an instance: values that it did not take, or a whole element that would be
 * the same instance with other values, and goes with it.
 */
struct KeptBeside : Record {
    bool is_element = false;
    Allocated<char> texts;
    std::size_t size = 0; /* 0 once it is forgotten */
    Text owner;
    Text new_name;                 /* of an element, where its instance has another one by now */
    KeptBeside *next = nullptr;    /* in the order of the file */
    KeptBeside *another = nullptr; /* of an owner that looks the same */
    unsigned int written = 0;      /* in which document last */
};

/*
 * What a load could not read, as it was read, so that a save can write it again: elements of which
 * no plugin knows the class, instances that are refused, and of others the values that are. A
 * plugin that is back finds its own. It is bounded, and then some of it is lost, which is counted.
 * An instance that somebody has made under the name of a piece wins: the piece stays beside it.
 */
class KeptPieces : public Record {
public:
    KeptPieces() = default;
    KeptPieces(const KeptPieces &) = delete;
    ~KeptPieces();

    /* Refused when it can't be kept, which counts as lost. */
    Outcome add_element(const WrittenInstance &written);
    /* Property and text of each, of an instance that is served. */
    Outcome add_values(const vorn_instance &instance, PieceTexts &values);
    /* Of an instance whose name one that is served has. */
    Outcome add_rival(const vorn_instance &served, const WrittenInstance &written);
    unsigned int lost() const { return lost_; }
    /* Whether access rules are among them, or were to be: without them nobody is to be let in. */
    bool hold_rules() const { return hold_rules_; }
    /*
     * What the document says of versions, those of plugins that are not here too: also of one of
     * which there is no piece, for when it is back the document must not look older than it is.
     */
    void keep_versions(Text versions) { versions_ = std::move(versions); }
    const char *versions() const { return versions_.get(); }

    /* Instances without a name of their own are known again by their values, which have changed;
     * one with a name is in one with the same values, when that is new and it is gone. */
    void follow(const vorn_changes &changes);

    /* For the writing of a document: at its beginning, after each instance's values, at its end.
     */
    void begin_document() { writing_++; }
    void write_values_of(const vorn_instance &instance, XmlWriter &document);
    void write_elements(XmlWriter &document);
    /* The last document is the startup file now: what belonged to none of its instances goes. */
    void forget_unwritten();

    /* What the piece is, in a few words; null after the last. */
    const char *describe(unsigned int rank);
    /* Of a class, under a name; null for all. Returns how many. The versions go with the last of
     * them, or with all. */
    unsigned int forget(const char *class_name, const char *name);

private:
    bool take_room(std::size_t size);
    Outcome add_beside(const vorn_instance &owner, PieceTexts &texts, bool is_element);
    KeptBeside *give_to(const Text &owner_before, Text owner);
    void follow_names(const vorn_changes &changes);
    void drop(KeptBeside &piece);
    unsigned int forget_elements(const char *class_name, const char *name);
    bool still_hold_rules();

    PieceTexts elements_; /* in one piece of memory: there may be very many */
    KeptBeside *first_ = nullptr;
    KeptBeside *last_ = nullptr;
    Table<KeptBeside> by_owner_;
    Text versions_;
    std::size_t bytes_ = 0;
    unsigned int lost_ = 0;
    bool hold_rules_ = false;
    unsigned int writing_ = 0;
    Line<120> description_{"%s", ""};
};

/* Of the running configuration; null for nothing. */
extern constinit KeptPieces *kept_pieces;

/*
 * Of the document that a transaction makes its configuration of. While this lives there may be one,
 * which is no longer there at its end unless it has been taken.
 */
class KeptOfGoal {
public:
    KeptOfGoal();
    KeptOfGoal(const KeptOfGoal &) = delete;
    ~KeptOfGoal();

    static void set(Owned<KeptPieces> pieces);
    /* Makes it what is kept of the running configuration, which has the changes now. */
    static void take_or_follow(const vorn_changes &changes);

private:
    bool is_of_an_outer_one_; /* a request within the transaction's check leaves it alone */
};

} // namespace vorn
