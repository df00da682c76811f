/* SPDX-License-Identifier: MIT */
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vorn::fuzz {

/* The subscribers of notices, each of which must have heard just what was said since it came. */
class Subscribers {
public:
    Subscribers();
    Subscribers(const Subscribers &) = delete;
    ~Subscribers();

    void connect();
    void disconnect(std::size_t which);
    void write_something(std::size_t which);
    void tell_conf_change(const std::optional<std::string> &origin);
    void tell_object_change(const std::optional<std::string> &name, const std::string &value);
    /* Stops the process unless everybody has heard everything. */
    void check();

private:
    struct Subscriber;

    void expect(const std::string &message);

    std::vector<std::unique_ptr<Subscriber>> all_;
    int changes_ = 1;
};

} // namespace vorn::fuzz
