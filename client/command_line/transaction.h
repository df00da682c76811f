/* SPDX-License-Identifier: MIT */
#pragma once

#include <string>
#include <vector>

#include "device.h"
#include "explanation.h"
#include "failure.h"
#include "lsql.h"
#include "options.h"
#include "schema.h"

namespace vorn::client {

/* Operations that happen together or not at all, each with what people call it. */
class Transaction {
public:
    Transaction(const Schema &schema, const Options &options)
        : schema_(schema), options_(options), request_(Request::Kind::transaction, options.origin)
    {}

    /* An instance that a target names must exist. */
    void update(const std::string &title, const Target &target, const Values &values);
    void insert(const std::string &title, const Target &target, const Values &values,
                const std::string &secrets_of = {});
    void remove(const std::string &title, const Target &target);
    /* It is as it should be already, but may not be applied. */
    void look_at(const Target &target) { touched_.push_back(target); }
    /* The operations were made for that configuration; an empty id is none. */
    void only_if(const std::string &commit);

    /*
     * Makes the changes, waits until they are applied, and gives the status; one outcome for each
     * operation stays behind. What the daemon refuses is thrown, with the title of the operation
     * that it refused. Without an operation nothing is sent, and the status tells of what is there.
     */
    int execute(Device &device);

    const std::vector<Outcome> &outcomes() const { return outcomes_; }

private:
    struct Operation {
        std::string title;
        Target target;
        Values values;
    };

    template <typename Add>
    void add(const std::string &title, const Target &target, const Values &values, Add add_to);
    int explain(Device &device);
    bool is_on_trial() const { return options_.trial_seconds > 0 || !options_.joins.empty(); }
    void begin_trial();
    [[noreturn]] void fail(Device &device, const Outcome &outcome, std::size_t index) const;
    Failure refusal_of(Device &device, const std::string &error, std::size_t index) const;
    [[noreturn]] void fail_with(Device &device,
                                const std::vector<Explanation::Error> &errors) const;
    [[noreturn]] void fail_as_a_whole(Device &device, std::string error, ExitStatus status) const;
    std::string with_advice(Device &device, const std::string &line) const;

    const Schema &schema_;
    const Options &options_;
    Request request_;
    std::vector<Operation> operations_;
    std::vector<Target> touched_;
    std::vector<Outcome> outcomes_;
};

} // namespace vorn::client
