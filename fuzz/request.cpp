/* SPDX-License-Identifier: MIT */
#include "fuzz/request.h"

#include "config/config_state.h"
#include "core/base/text.h"
#include "model/instances_walk.h"
#include "vorn/process.h"
#include "vorn/query.h"

#include <set>

#include "fuzz/target.h"

namespace vorn::fuzz {

namespace {

using Instances = std::set<vorn_instance *>;

Instances all_of(const vorn_instances *store)
{
    Instances instances;
    for (vorn_instance *instance : Walk(vorn_instances_new_iterator(store)))
        instances.insert(instance);
    return instances;
}

} // namespace

std::optional<std::string> evaluate(const std::string &request, bool passive)
{
    const vorn_instances *store = running_config;
    const Instances before = all_of(store);
    ExactString text(request);

    const Text answer(passive ? vorn_query_eval_passive(text.get()) : vorn_query_eval(text.get()));

    require(!vorn_query_origin, "an origin ends with its request");
    if (running_config != store) {
        const Instances after = all_of(running_config);
        for (vorn_instance *instance : before) {
            if (after.count(instance) == 0) vorn_instance_delete(instance);
        }
    }
    return answer ? std::optional<std::string>(answer.get()) : std::nullopt;
}

XmlDocument parsed_answer(const std::string &answer)
{
    XmlDocument document = parse_xml_text(answer.c_str(), answer.size());
    require(document != nullptr, "an answer is a document");
    return document;
}

std::string escaped(const std::string &text)
{
    std::string result;
    for (const char character : text) {
        const bool special = std::string("<>&\"\t\n\r").find(character) != std::string::npos;
        result += special ? "&#" + std::to_string(static_cast<int>(character)) + ";"
                          : std::string(1, character);
    }
    return result;
}

} // namespace vorn::fuzz
