# SPDX-License-Identifier: MIT
"""A virtual machine that sees the host's files and keeps every change to itself.

    with Machine(layers=[folder]) as machine:
        print(machine.check("uname -a"))

`layers` are folders of the host that lie above its own files in the guest's root, first on top.
Everything is emulated, so it runs the same way wherever qemu runs.
"""
import functools
import os
import pathlib
import shlex
import socket
import subprocess
import tempfile
import time

from channels import Agent, Closed, Late, Monitor, Stream

HERE = pathlib.Path(__file__).resolve().parent
TREE = HERE.parent.parent
CACHE = pathlib.Path(os.environ.get("VORN_VM_CACHE", TREE / "build/vm")).resolve()
# An emulated machine beside others takes its time; one that works is not waited for.
BOOT_SECONDS = 600
PATIENCE_S = 300
# An emulated timer may come late, which is nothing to panic about.
KERNEL_ARGUMENTS = ("console=ttyS0 quiet panic=-1 mitigations=off cryptomgr.notests no_timer_check "
                    "random.trust_cpu=on")
# Waiting for the host is idle time, too. A clock that ticks all the time jumps by ticks only; else
# it would jump over minutes while a file is read.
STEADY_CLOCK = "nohz=off highres=off"


@functools.cache
def make_kernel():
    subprocess.run([HERE / "build", CACHE], check=True)


def station_namespace(number):
    return f"station{number or ''}"


class MachineError(Exception):
    """The machine did not do what it was asked for; the text ends with its console."""


class Machine:
    def __init__(self, *, layers=(), disk=None, watchdog=False, skip_idle_time=False,
                 radios=0, stations=1, on_terminal=False, memory=256):
        """`disk` is an ext4 image, see make_disk; it holds /etc/config. With `skip_idle_time` the
        guest's clock jumps ahead whenever nothing is to be done: minutes of waiting take seconds.
        So many `radios` are the machine's, wlan0 on; where it has any, the ones after them are of
        `stations`, in the network namespaces "station", "station1" and so on. It has so many MiB of
        `memory`."""
        self.layers = [*layers, CACHE / "modules", pathlib.Path("/")]
        self.disk = disk
        self.watchdog = watchdog
        self.skip_idle_time = skip_idle_time
        self.radios = radios
        self.stations = stations
        self.on_terminal = on_terminal
        self.memory = memory
        self.process = None

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self.stop()

    # Power

    def start(self):
        self._make_parts()
        self._log = tempfile.TemporaryFile()
        agent, agent_end = socket.socketpair()
        monitor, monitor_end = socket.socketpair()
        self.agent = Agent(Stream(agent))
        self.monitor = Monitor(Stream(monitor))
        with agent_end, monitor_end:
            self.process = subprocess.Popen(
                self._command(agent_end.fileno(), monitor_end.fileno()),
                pass_fds=(agent_end.fileno(), monitor_end.fileno()),
                stdin=None if self.on_terminal else subprocess.DEVNULL,
                stdout=None if self.on_terminal else self._log,
                stderr=None if self.on_terminal else subprocess.STDOUT)
        try:
            until = time.monotonic() + BOOT_SECONDS
            self.monitor.greet(until)
            self._wait_until_ready(until)
            self._set_up_devices()
        except (Closed, Late) as problem:
            text = self.console
            self.stop()
            raise MachineError(f"the machine does not start ({problem!r}):\n{text}") from None
        except BaseException:
            self.stop()
            raise

    def stop(self):
        """As if the power were cut: what the guest has not written to its disk is lost."""
        if self.process is None:
            return
        self.process.kill()
        self.process.wait()
        self.process = None
        self.agent.stream.close()
        self.monitor.stream.close()
        self._log.close()

    def cut_power(self):
        self.stop()
        self.start()

    def reboot(self, deadline=PATIENCE_S):
        """An orderly one: processes are ended, the disk is unmounted."""
        self.run_to_the_end(f"kill -TERM 1; sleep {PATIENCE_S}", deadline)
        self.stop()
        self.start()

    def run_to_the_end(self, command, deadline=PATIENCE_S):
        """For a command during which the machine resets or ends; it stays off then."""
        until = time.monotonic() + deadline
        try:
            result = self.agent.run(command, until)
        except Closed:
            self.process.wait()
        except Late:
            raise self._problem(f"the machine still runs after {deadline} s") from None
        else:
            raise self._problem(f"the machine outlived: {command}\n{result.output}")

    # Commands

    def run(self, command, deadline=PATIENCE_S):
        """Runs a shell command as root; its status and what it printed on both outputs."""
        if self.process is None:
            raise MachineError("the machine is off")
        try:
            return self.agent.run(command, time.monotonic() + deadline)
        except Late:
            problem = self._problem(f"no end after {deadline} s: {command}")
            self.stop()  # whoever came next would wait as long
            raise problem from None
        except Closed:
            raise self._problem(f"the machine ended in: {command}") from None

    def check(self, command, deadline=PATIENCE_S):
        """The output of a command that must succeed."""
        status, output = self.run(command, deadline)
        if status != 0:
            raise self._problem(f"status {status} from: {command}\n{output}")
        return output

    def wait_for(self, command, deadline=PATIENCE_S):
        """Runs a command until it succeeds; its output."""
        until = time.monotonic() + deadline
        while True:
            status, output = self.run(command, deadline)
            if status == 0:
                return output
            if time.monotonic() > until:
                raise self._problem(f"not within {deadline} s: {command}\n{output}")
            self.run("sleep 0.1")

    def write(self, path, text, mode="644"):
        """Puts a file in the place of what is there."""
        name = shlex.quote(path)
        self.check(f"rm -f {name}; mkdir -p $(dirname {name}); umask 077; "
                   f"printf %s {shlex.quote(text)} >{name} && chmod {mode} {name}")

    def processes(self, name):
        """The ids of the processes whose command has that name."""
        return self.run(f"pidof {shlex.quote(name)}").output.split()

    # What can be seen from outside

    @property
    def console(self):
        if self.on_terminal:
            return ""
        size = os.fstat(self._log.fileno()).st_size
        return os.pread(self._log.fileno(), size, 0).decode(errors="replace")

    def has_event(self, name):
        return bool(self.monitor.seen(name))

    def wait_for_event(self, name, deadline=PATIENCE_S):
        try:
            return self.monitor.wait_for(name, time.monotonic() + deadline)
        except (Late, Closed):
            raise self._problem(f"no event {name} within {deadline} s") from None

    def _kernel_arguments(self):
        yield KERNEL_ARGUMENTS
        yield f"LAYERS={len(self.layers)}"
        if self.skip_idle_time:
            yield STEADY_CLOCK

    def _make_parts(self):
        make_kernel()

    def _wait_until_ready(self, until):
        self.agent.wait_until_ready(until)

    def _command(self, agent, monitor):
        layers = [option for number, layer in enumerate(self.layers) for option in (
            "-fsdev", f"local,id=layer{number},path={layer},security_model=none,readonly=on,"
                      "multidevs=remap",
            "-device", f"virtio-9p-pci,fsdev=layer{number},mount_tag=layer{number}")]
        return [
            # Nothing is left behind, however the one who started it ends.
            "setpriv", "--pdeathsig", "KILL",
            "qemu-system-x86_64", "-accel", "tcg", "-cpu", "max", "-m", str(self.memory),
            "-nodefaults", "-no-reboot", "-display", "none",
            "-kernel", str(CACHE / "vmlinux"), "-initrd", str(CACHE / "initramfs"),
            "-append", " ".join(self._kernel_arguments()),
            "-chardev", f"stdio,id=console,signal={'off' if self.on_terminal else 'on'}",
            "-serial", "chardev:console",
            "-chardev", f"socket,id=monitor,fd={monitor}", "-mon", "chardev=monitor,mode=control",
            "-device", "virtio-serial-pci",
            "-chardev", f"socket,id=agent,fd={agent}", "-device", "virtserialport,chardev=agent",
            *layers, *self._optional_devices()]

    def _optional_devices(self):
        if self.disk:
            # What the guest has flushed outlives it in the host's memory, whose own disk would take
            # seconds, minutes to a clock that skips them.
            yield from ("-drive", f"file={self.disk},format=raw,if=none,id=disk,cache=unsafe",
                        "-device", "virtio-blk-pci,drive=disk")
        if self.watchdog:
            yield from ("-device", "i6300esb", "-action", "watchdog=reset")
        if self.skip_idle_time:
            yield from ("-icount", "shift=auto,sleep=off")

    def _set_up_devices(self):
        if self.disk:
            self.check("modprobe -a virtio_blk ext4 && mkdir -p /etc/config && "
                       "mount -t ext4 /dev/vda /etc/config")
        if self.watchdog:
            self.check("modprobe i6300esb")
        if self.radios:
            self.check(f"modprobe mac80211_hwsim radios={self.radios + self.stations}")
            for number in range(self.stations):
                namespace = station_namespace(number)
                self.check(f"ip netns add {namespace} && "
                           f"iw phy phy{self.radios + number} set netns name {namespace}")

    def _problem(self, text):
        tail = "\n".join(line[:200] for line in self.console.splitlines()[-40:])
        return MachineError(f"{text}\n--- console:\n{tail}")


def make_disk(path, content):
    """An ext4 image with the files of a folder."""
    with open(path, "wb") as image:
        image.truncate(16 << 20)
    subprocess.run(["mkfs.ext4", "-q", "-F", "-d", content, path], check=True,
                   env={**os.environ, "PATH": os.environ["PATH"] + ":/usr/sbin:/sbin"})
