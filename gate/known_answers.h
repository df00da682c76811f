/* SPDX-License-Identifier: MIT */
#pragma once

#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "answer.h"
#include "schemas.h"
#include "stillness.h"

namespace vorn::gate {

/* What somebody asked for, what the daemon was asked then and replied, and what was made of that.
 */
struct KnownAnswer {
    std::weak_ptr<const DeviceSchema> schema; /* one that is gone is the same as no other */
    std::string user;
    std::string uri;
    std::string question;
    std::string reply;
    Answer answer;
    /* What it rests on is the daemon's own: as long as nothing changes the reply is this one. */
    bool is_lasting = false;
    Stillness::Epoch epoch = Stillness::none; /* in which the daemon was asked */
};

/*
 * The last answers. Whoever asks for an object again has the daemon asked again; only when it
 * replies the same, byte by byte, is the answer the same. It is not asked when it has said that the
 * reply lasts until something changes, and nothing has. So nothing here can be out of date, and
 * nobody is told what he may not see any more.
 */
class KnownAnswers {
public:
    /* Null when there is none. */
    std::shared_ptr<const KnownAnswer> find(const std::shared_ptr<const DeviceSchema> &schema,
                                            const std::string &user, const std::string &uri);
    void keep(KnownAnswer answer);

private:
    std::mutex mutex_;
    std::list<std::shared_ptr<const KnownAnswer>> known_; /* the one that was used last is first */
};

} // namespace vorn::gate
