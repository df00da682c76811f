# SPDX-License-Identifier: MIT
"""The machine whose power is cut: a device with nothing but its disk to lose."""
import os
import pathlib
import re
import shutil
import subprocess
import tempfile
import time

from device import BUILD, firmware
from machine import CACHE, HERE, KERNEL_ARGUMENTS, Machine

PARTS = BUILD / "tests/vm/power_cuts"
MODULES = ("virtio_pci", "virtio_console", "virtio_blk", "ext4")
# Small steps of the journal, and none of the kernel's help for those who forget to flush.
OPTIONS = "commit=1,noauto_da_alloc"


class Torn(Exception):
    """A file is not what was saved, or older than what was acknowledged."""


def needed_libraries(program):
    output = subprocess.run(["ldd", program], check=True, text=True, stdout=subprocess.PIPE).stdout
    return re.findall(r"(/\S+) \(0x", output)


def fill_slots(root):
    """The plugins of three firmwares: one declares no version, the last one has one more."""
    plugins = BUILD / "tests/system/plugins"
    for slot, names in enumerate(({"versions": "wlan"}, {"versions": "wlan-1"},
                                  {"versions": "wlan-2", "travels": "a"})):
        folder = root / f"usr/slots/{slot}"
        folder.mkdir(parents=True)
        for name, installed in names.items():
            shutil.copy(plugins / f"{name}.vorn", folder / f"{installed}.vorn")


def fill_root(root):
    """Everything that runs in the machine."""
    usr = pathlib.Path(firmware().name) / "usr"
    for folder in ("bin", "dev", "proc", "sys", "etc", "run/vm", "tmp", "var", "modules", "usr/sbin",
                   "usr/lib/vorn/plugins"):
        (root / folder).mkdir(parents=True)
    (root / "var/run").symlink_to("/run")
    (root / "usr/bin").symlink_to("/bin")
    shutil.copy(shutil.which("busybox"), root / "run/vm/busybox")
    shutil.copy(HERE / "guest/agent", root / "run/vm/agent")
    shutil.copy(HERE / "power_cuts/init", root / "init")
    shutil.copy(usr / "sbin/vorn", root / "usr/sbin/vorn")
    for plugin in ("save", "trial", "history"):
        shutil.copy(usr / f"lib/vorn/plugins/{plugin}.vorn", root / "usr/lib/vorn/plugins")
    shutil.copy(PARTS / "journal.vorn", root / "usr/lib/vorn/plugins")
    fill_slots(root)
    for name in ("save_loop", "trial_loop", "no_flush.so"):
        shutil.copy(PARTS / name, root / "usr" / name)
    for program in (usr / "sbin/vorn", usr / "lib/vorn/plugins/history.vorn", PARTS / "save_loop"):
        for library in needed_libraries(program):
            place = root / library[1:]
            place.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(library, place)
    copy_modules(root / "modules")


def copy_modules(folder):
    [version] = os.listdir(CACHE / "modules/usr/lib/modules")
    order = []
    for module in MODULES:
        lines = subprocess.run(
            ["modprobe", "-d", CACHE / "modules/usr", "-S", version, "--show-depends", module],
            check=True, text=True, stdout=subprocess.PIPE,
            env={**os.environ, "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"}).stdout
        for path in re.findall(r"^insmod (\S+)", lines, re.MULTILINE):
            name = os.path.basename(path)
            if name not in order:
                order.append(name)
                shutil.copy(path, folder / name)
    (folder / "order").write_text("".join(f"{name}\n" for name in order))


def make_initramfs(path):
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder) / "root"
        fill_root(root)
        with open(path, "wb") as output:
            subprocess.run("find . | busybox cpio -o -H newc -R 0:0 2>/dev/null", shell=True,
                           cwd=root, check=True, stdout=output)


# Ends the daemon, and waits until it has let go of its disk.
STOP = ("pid=$(cat /run/vorn.pid); kill $pid; "
        "while kill -0 $pid 2>/dev/null; do sleep 0.05; done")


class CutMachine(Machine):
    """Boots once; each start after that goes on from where `keep` left it."""

    def __init__(self, folder):
        super().__init__(disk=folder / "disk")
        self.initramfs = folder / "initramfs"
        self.state = folder / "state"

    def keep(self):
        until = time.monotonic() + 300
        self.monitor.command("stop", until)
        self.monitor.command("migrate", until, uri=f"exec:cat >{self.state}.new")
        while self.monitor.command("query-migrate", until)["status"] != "completed":
            time.sleep(0.05)
        self.stop()
        os.rename(f"{self.state}.new", self.state)

    def _make_parts(self):
        """Once, before the first one starts."""

    def _go_on(self, until):
        while self.monitor.command("query-status", until)["status"] == "inmigrate":
            time.sleep(0.01)
        self.monitor.command("cont", until)

    def _wait_until_ready(self, until):
        if self.state.exists():
            self._go_on(until)
        else:
            self.agent.wait_until_ready(until)

    def _command(self, agent, monitor):
        command = [
            "setpriv", "--pdeathsig", "KILL",
            "qemu-system-x86_64", "-accel", "tcg", "-cpu", "max", "-m", "320",
            "-nodefaults", "-no-reboot", "-display", "none",
            "-kernel", str(CACHE / "vmlinux"), "-initrd", str(self.initramfs),
            "-append", KERNEL_ARGUMENTS,
            "-chardev", "stdio,id=console,signal=on", "-serial", "chardev:console",
            "-chardev", f"socket,id=monitor,fd={monitor}", "-mon", "chardev=monitor,mode=control",
            "-device", "virtio-serial-pci",
            "-chardev", f"socket,id=agent,fd={agent}", "-device", "virtserialport,chardev=agent",
            *self._optional_devices()]
        return command + (["-incoming", f"exec:cat {self.state}"] if self.state.exists() else [])

    def _set_up_devices(self):
        """The disk is mounted by each cycle."""
