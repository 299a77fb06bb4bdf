#!/usr/bin/python3 -IS
"""Speaks every wire of the virtual card by hand, with constants of its own. The words are steps, separated by ","; each
step but sleep prints one line.

  ioctl INTERFACE TYPE EVENT PAYLOAD REPLY_LENGTH     one driver message, payload in hexadecimal or "-"
  thread_ioctl ..., child_ioctl ...                   the same from a second thread, from a forked child
  socket, bind PORT|self, family NAME, notice         a generic netlink socket, its port, a family, the next notice
  bar ADDRESS, peek OFFSET                            BAR 0 of a function, mapped
  mailbox ID EVENT PAYLOAD, slot_notice               one request through the mailbox; the next notice there
  mailbox_silence ID EVENT PAYLOAD                    one request that is taken back without an answer
  config ADDRESS OFFSET                               a word of configuration space
  sleep MILLISECONDS
"""
import ctypes
import fcntl
import mmap
import os
import select
import socket
import struct
import sys
import threading
import time

DEVICES = "/sys/bus/pci/devices/"
netlink = None
bar = None


def show(text):
    print(text, flush=True)


def bytes_of(text):
    return bytes.fromhex("" if text == "-" else text)


def text_of(data):
    return data.hex() or "-"


def ioctl(interface, kind, event, payload, reply_length):
    payload, length = bytes_of(payload), int(reply_length)
    status = ctypes.create_string_buffer(64)
    reply = ctypes.create_string_buffer(b"\xee" * length, length + 1)
    head = struct.pack("=IIQIHHQHHHH", int(kind), os.getpid(), ctypes.addressof(status), int(event), 3, 0,
                       ctypes.addressof(reply), length, 0, len(payload), 0)
    message = ctypes.create_string_buffer(head + payload, 40 + len(payload))
    request = struct.pack("=16sQ16x", interface.encode()[:15], ctypes.addressof(message))
    result, error = 0, 0
    with socket.socket(socket.AF_INET, socket.SOCK_DGRAM) as any_socket:
        try:
            result = fcntl.ioctl(any_socket, 0x89fd, bytearray(request))
        except OSError as refused:
            result, error = -1, refused.errno
    answer = struct.unpack_from("=Ii", status)
    show(f"ret={result} errno={error} status={answer[0]} result={answer[1]} "
         f"length={struct.unpack_from('=H', message, 32)[0]} reply={text_of(reply.raw[:length])}")


def thread_ioctl(*words):
    thread = threading.Thread(target=ioctl, args=words)
    thread.start()
    thread.join()


def child_ioctl(*words):
    child = os.fork()
    if child == 0:
        ioctl(*words)
        os._exit(0)
    os.waitpid(child, 0)


def netlink_open():
    global netlink
    netlink = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, 16)
    show("socket=1")


def bind(port):
    error = 0
    try:
        netlink.bind((os.getpid() if port == "self" else int(port), 0))
    except OSError as refused:
        error = refused.errno
    show(f"bind={-1 if error else 0} errno={error}")


def received(limit_s):
    """The length of what comes, or -1, its bytes and behind them zeros."""
    data = netlink.recv(14020) if select.select([netlink], [], [], limit_s)[0] else None
    return -1 if data is None else len(data), (data or b"") + bytes(14020)


def family(name):
    text = name.encode() + b"\0"
    attribute = struct.pack("=HH", len(text) + 5, 2) + text
    attribute += bytes(4 - len(text) % 4)
    message = struct.pack("=IHHIIBBH", 20 + len(attribute), 16, 1, 0, 0, 3, 1, 0) + attribute
    sent = netlink.sendto(message, (0, 0))
    length, answer = received(0.3)
    header_length, kind = struct.unpack_from("=IH", answer)
    error = struct.unpack_from("=i", answer, 16)[0] if kind == 2 else 0
    second = 20 + (struct.unpack_from("=H", answer, 20)[0] + 3) // 4 * 4
    attribute_kind, number = struct.unpack_from("=HH", answer, second + 2)
    show(f"sent={int(sent == len(message))} length={length} header_length={header_length} type={kind} error={error} "
         f"attribute={attribute_kind} id={number}")


def notice():
    length, message = received(3)
    kind, = struct.unpack_from("=H", message, 4)
    if length < 24 or kind == 2:
        show(f"notice length={length} type={kind}")
    else:
        show(f"notice type={kind} payload={text_of(message[24:20 + struct.unpack_from('=H', message, 20)[0]])}")


def bar_map(function):
    global bar
    file = os.open(DEVICES + function + "/resource0", os.O_RDWR)
    size = os.fstat(file).st_size
    try:
        bar = mmap.mmap(file, size)
        show(f"bar size=0x{size:x}")
    except OSError as refused:
        show(f"bar size=0x{size:x} errno={refused.errno}")
    os.close(file)


def word(offset):
    """A word of the BAR, which is read and written in one access."""
    return ctypes.c_uint32.from_buffer(bar, offset)


def mailbox_area():
    return 0xf0f000 if word(0x1000).value >> 8 & 0xff in (0, 1, 7) else 0xff000


def slot_text(slot):
    header = struct.pack("=III", *(word(slot + at).value for at in (0, 4, 8)))
    length = min(struct.unpack_from("=H", header, 4)[0], 2036)
    payload = b"".join(struct.pack("=I", word(slot + 12 + at).value) for at in range(0, length, 4))
    return f"header={text_of(header)} payload={text_of(payload[:length])}"


def valid_becomes(slot, wanted, limit_s):
    end = time.monotonic() + limit_s
    while word(slot).value & 1 != wanted and time.monotonic() < end:
        time.sleep(0.0001)
    return word(slot).value & 1 == wanted


def mailbox(message_id, event_id, payload, limit_s=10):
    slot, data = mailbox_area(), bytes_of(payload)
    padded = data + bytes(-len(data) % 4)
    words = (int(event_id) << 16, int(message_id) << 16 | len(data), 0, *struct.unpack(f"={len(padded) // 4}I", padded))
    for at, value in enumerate(words):
        word(slot + 4 * at).value = value
    word(slot).value |= 1
    if valid_becomes(slot, 0, limit_s):
        show("mailbox " + slot_text(slot))
    else:
        word(slot).value &= ~1
        show("mailbox time out")


def slot_notice():
    slot = mailbox_area() + 0x800
    if not valid_becomes(slot, 1, 3):
        show("slot_notice time out")
        return
    show("slot_notice " + slot_text(slot))
    word(slot).value = (word(slot).value | 8) & ~0x11


def config(function, offset):
    file = os.open(DEVICES + function + "/config", os.O_RDWR)
    data = os.pread(file, 4, int(offset, 0))
    os.close(file)
    show(f"config length={len(data)} value=0x{int.from_bytes(data, 'little'):08x}")


STEPS = {
    "ioctl": ioctl,
    "thread_ioctl": thread_ioctl,
    "child_ioctl": child_ioctl,
    "socket": netlink_open,
    "bind": bind,
    "family": family,
    "notice": notice,
    "bar": bar_map,
    "peek": lambda offset: show(f"peek 0x{word(int(offset, 0)).value:08x}"),
    "mailbox": mailbox,
    "mailbox_silence": lambda *words: mailbox(*words, limit_s=0.15),
    "slot_notice": slot_notice,
    "config": config,
    "sleep": lambda ms: time.sleep(int(ms) / 1000),
}

step = []
for argument in [*sys.argv[1:], ","]:
    if argument == ",":
        STEPS[step[0]](*step[1:])
        step = []
    else:
        step.append(argument)
