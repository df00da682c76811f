/* SPDX-License-Identifier: MIT */
#include "trials.h"

#include "aftermath.h"
#include "changes.h"

namespace vorn::gate {

namespace {

constexpr char class_name[] = "trial";

/* The class has a word for each end of a trial, which means the trial of that id. */
Answer end_trial(Desk &desk, const Caller &caller, const Request &request, const char *word)
{
    const Json json = body_of(request);
    const json_t *id = json_object_get(json.get(), "id");
    if (!json_is_string(id) || json_object_size(json.get()) != 1)
        throw Problem{400, "bad-request", "The body has to be {\"id\":\"...\"}."};
    const auto schema = desk.schemas.of(desk.device, caller.user);
    if (!schema->schema.find(class_name))
        throw Problem{409, "trial", "This device has no trials: the plugin is missing."};

    client::Request lsql = request_for(caller, client::Request::Kind::transaction);
    lsql.update({class_name, {}, {}}, {{word, std::string(text_of(id))}});
    for (const client::Outcome &each : ask(desk, lsql))
        if (each.rc != 0) throw problem_of(each.error);
    return answer_of(aftermath(desk, caller, *schema, {}));
}

} // namespace

Answer get_trial(Desk &desk, const Caller &caller, const Request &)
{
    return answer_of(
        json_of_trial(select(desk, caller, {class_name, {}, {}},
                             {"state", "id", "holder", "since", "until", "remaining"})));
}

Answer confirm_trial(Desk &desk, const Caller &caller, const Request &request)
{
    return end_trial(desk, caller, request, "confirm");
}

Answer revert_trial(Desk &desk, const Caller &caller, const Request &request)
{
    return end_trial(desk, caller, request, "revert");
}

} // namespace vorn::gate
