# SPDX-License-Identifier: MIT
"""A cable that loses frames and takes its time, between two interfaces of this network: bad_link.py ONE OTHER
LOSS SECONDS. It does what the kernel's netem does, which not each kernel has. For each line of its input it prints
the bytes that have come in at each of the two. bad_link.py INTERFACE makes that one fit to send over it."""
import ctypes
import fcntl
import heapq
import json
import random
import select
import socket
import struct
import sys
import time

ALL = 0x0003  # every protocol
SIOCETHTOOL, SET_SENDERS_CHECKSUMS = 0x8946, 0x17


def make_whole_frames(name):
    """A virtual interface leaves checksums, and cutting into frames, to one that is none."""
    value = ctypes.create_string_buffer(struct.pack("II", SET_SENDERS_CHECKSUMS, 0))
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        fcntl.ioctl(any_socket, SIOCETHTOOL, struct.pack("16sP", name.encode(), ctypes.addressof(value)).ljust(40, b"\0"))


def attach(name):
    sock = socket.socket(socket.AF_PACKET, socket.SOCK_RAW, socket.htons(ALL))
    sock.bind((name, ALL))
    sock.setblocking(False)
    return sock


def main(names, loss, delay):
    ends = [attach(name) for name in names]
    seen = [0, 0]
    waiting = []  # when, a number that tells those of one time apart, where to, what
    count = 0
    while True:
        left = max(0, waiting[0][0] - time.monotonic()) if waiting else None
        ready, _, _ = select.select([*ends, sys.stdin], [], [], left)
        while waiting and waiting[0][0] <= time.monotonic():
            _, _, target, frame = heapq.heappop(waiting)
            target.send(frame)
        for i, end in enumerate(ends):
            if end not in ready:
                continue
            frame, address = end.recvfrom(65536)
            if address[2] == socket.PACKET_OUTGOING:
                continue
            seen[i] += len(frame)
            if random.random() >= loss:
                count += 1
                heapq.heappush(waiting, (time.monotonic() + delay, count, ends[1 - i], frame))
        if sys.stdin in ready:
            if not sys.stdin.readline():
                return
            print(json.dumps(seen), flush=True)


if __name__ == "__main__":
    if len(sys.argv) == 2:
        make_whole_frames(sys.argv[1])
        sys.exit(0)
    main(sys.argv[1:3], float(sys.argv[3]), float(sys.argv[4]))
