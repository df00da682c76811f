/* SPDX-License-Identifier: MIT */
#include "history_device.h"

#include "support/c_names.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include <sys/stat.h>

extern "C" {
#include "shelf.h"
}

namespace {

using vorn::tests::HistoryDevice;

constexpr char configuration[] = "/etc/config/";

HistoryDevice *current = nullptr;

std::string place_of(const char *path)
{
    const bool is_of_it = std::strncmp(path, configuration, std::strlen(configuration)) == 0;
    return current && is_of_it ? current->path_of(path) : path;
}

} // namespace

namespace vorn::tests {

HistoryDevice::HistoryDevice()
{
    current = this;
    std::filesystem::create_directories(path_of("/etc/config/history"));
}

HistoryDevice::~HistoryDevice()
{
    current = nullptr;
    std::filesystem::remove_all(folder);
}

std::string HistoryDevice::path_of(const std::string &path) const
{
    return folder + path;
}

bool HistoryDevice::has(const std::string &path) const
{
    return std::filesystem::exists(path_of(path));
}

std::string HistoryDevice::text_of(const std::string &path) const
{
    std::ifstream stream(path_of(path));
    return {std::istreambuf_iterator<char>(stream), {}};
}

void HistoryDevice::write(const std::string &path, const std::string &text) const
{
    std::ofstream(path_of(path)) << text;
}

void HistoryDevice::time_passes()
{
    for (const eloop_timeout_handler each : std::exchange(timers, {}))
        each(nullptr, nullptr);
}

} // namespace vorn::tests

extern "C" {
int __real_atexit(void (*function)());
int __wrap_atexit(void (*function)())
{
    if (!current) return __real_atexit(function); /* of a sanitizer, before any test */
    current->at_end = function;
    return 0;
}
int __wrap_eloop_register_timeout(unsigned int, unsigned int, eloop_timeout_handler handler, void *,
                                  void *)
{
    current->timers.push_back(handler);
    return 0;
}
int __wrap_eloop_cancel_timeout(eloop_timeout_handler handler, void *, void *)
{
    auto &timers = current->timers;
    timers.erase(std::remove(timers.begin(), timers.end(), handler), timers.end());
    return 0;
}
int __real_mkdir(const char *path, mode_t mode);
int __wrap_mkdir(const char *path, mode_t mode)
{
    return __real_mkdir(place_of(path).c_str(), mode);
}
int __real_stat(const char *path, struct stat *status);
int __wrap_stat(const char *path, struct stat *status)
{
    return __real_stat(place_of(path).c_str(), status);
}
const char *__real_shelf_add(const char *folder, const struct generation *generation);
const char *__wrap_shelf_add(const char *folder, const struct generation *generation)
{
    return __real_shelf_add(place_of(folder).c_str(), generation);
}
void __real_shelf_list(const char *folder, struct shelf_content *list);
void __wrap_shelf_list(const char *folder, struct shelf_content *list)
{
    __real_shelf_list(place_of(folder).c_str(), list);
}
void __real_shelf_prune(const char *folder, const struct shelf_limits *limits);
void __wrap_shelf_prune(const char *folder, const struct shelf_limits *limits)
{
    __real_shelf_prune(place_of(folder).c_str(), limits);
}
const char *__real_shelf_read(const char *folder, unsigned long number,
                              struct generation *generation);
const char *__wrap_shelf_read(const char *folder, unsigned long number,
                              struct generation *generation)
{
    if (current) current->reads++;
    return __real_shelf_read(place_of(folder).c_str(), number, generation);
}
FILE *__real_whole_file_open(const char *path, mode_t mode);
FILE *__wrap_whole_file_open(const char *path, mode_t mode)
{
    return __real_whole_file_open(place_of(path).c_str(), mode);
}
int __real_whole_file_close(FILE *stream, const char *path, int durable);
int __wrap_whole_file_close(FILE *stream, const char *path, int durable)
{
    return __real_whole_file_close(stream, place_of(path).c_str(), durable);
}
FILE *__real_whole_file_read(const char *path);
FILE *__wrap_whole_file_read(const char *path)
{
    return __real_whole_file_read(place_of(path).c_str());
}
int __wrap_vorn_config_add_load_fn(vorn_config_load_fn, void *)
{
    return 0;
}
int __wrap_vorn_config_add_saved_fn(vorn_config_saved_fn saved, void *)
{
    current->saved = saved;
    return 0;
}
const char *__wrap_vorn_config_get_file(unsigned int index)
{
    return index < current->files.size() ? current->files[index].c_str() : nullptr;
}
char *__wrap_vorn_config_read_file(const char *path, size_t *size)
{
    *size = std::strlen(path);
    return strdup(path);
}
const char *__wrap_vorn_config_get_source()
{
    return current->source;
}
char *__wrap_vorn_config_get_startup_as_xml()
{
    return strdup(current->text_of(vorn::tests::startup_of_history).c_str());
}
}
