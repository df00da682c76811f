/* SPDX-License-Identifier: MIT */
#pragma once

/* Every absolute path the daemon touches. They are interface: scripts and images rely on them. */
namespace vorn::paths {

constexpr char console[] = "/dev/console";
constexpr char watchdog[] = "/dev/watchdog";
constexpr char null_device[] = "/dev/null";
constexpr char pid_file[] = "/var/run/vorn.pid";
constexpr char lock_file[] = "/var/run/vorn.lock";
constexpr char kernel_panic[] = "/proc/sys/kernel/panic";
constexpr char post_init[] = "/etc/post-init";
constexpr char migrate[] = "/usr/bin/ng_migrate";
constexpr char plugins[] = "/usr/lib/vorn/plugins/";
constexpr char plugin_page[] = "/var/run/vorn-plugins";
constexpr char suspects[] = "/etc/vorn-suspects";
constexpr char suspects_so_far[] = "/etc/vorn-suspects.new";
constexpr char suspects_beside_startup[] = "/etc/config/vorn-suspects";
constexpr char suspects_beside_startup_so_far[] = "/etc/config/vorn-suspects.new";

constexpr char startup_config[] = "/etc/config/config.xml";
constexpr char broken_config[] = "/etc/config/config.xml.broken";
constexpr char broken_config_so_far[] = "/etc/config/config.xml.broken.new";
constexpr char default_config[] = "/etc/defaultconfig.xml";
constexpr char rescue_config[] = "/etc/rescueconfig.xml";
constexpr char plugins_of_last_save[] = "/etc/vorn-plugins";
constexpr char plugins_beside_startup[] = "/etc/config/vorn-plugins";
constexpr char scratch_default[] = "/tmp/defaultconfig.xml";
constexpr char scratch_checksum_list[] = "/tmp/defaultconfig.xml.md5";
constexpr char scratch_digest[] = "/tmp/md5.gen";
constexpr char checksum_tool[] = "/usr/bin/md5sum";

} // namespace vorn::paths
