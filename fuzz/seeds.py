#!/usr/bin/env python3
"""Makes the seeds of the fuzzers' corpora: seeds.py DIRECTORY. Minimal meaningful inputs, in each fuzzer's own form."""
import pathlib
import struct
import sys

ROOT = pathlib.Path(sys.argv[1])


def put(fuzzer, name, data):
    directory = ROOT / fuzzer
    directory.mkdir(parents=True, exist_ok=True)
    (directory / name).write_bytes(data)


def frame(address, code, length, data=b"", device=0, port=0, board=0, options=0):
    """Options and the frame from its labels on."""
    return struct.pack("<BBBBBBHBBIH", options, 0, 0xFE, 0, device, port, board, code, 0, address, length) + data


def read(address, length, **target):
    return frame(address, 0, length, **target)


def write(address, data, **target):
    return frame(address, 1, len(data), data, **target)


def reset_made(fields):
    """The same with a label that gives it the checksum with which a reset that is due is made."""
    return fields[:1] + bytes([-(0x5555 + sum(fields[2:])) % 8]) + fields[2:]


def counting(count, first=1):
    return bytes((first + i) & 0xFF for i in range(count))


def screen(rows, columns, cards, mode):
    return bytes([0, mode, 0, 0, 0, 0, rows, columns]) + struct.pack("<H", cards)


def port_record(rows, columns, x, y, mode):
    return bytes([1, mode]) + struct.pack("<HHHH", x, y, rows, columns) + bytes(54)


def mixed_block(mode=0x9A):
    block = bytearray(200)
    struct.pack_into("<BHHHHH", block, 0, mode, 200, 64, 32, 100, 140)
    block[12:18] = bytes([1, 10, 0, 2, 1, 0])
    block[32:33] = bytes([2])
    block[33:49] = bytes([0x08, 0x00, 0, 0, 0x7F, 40, 1]) + bytes(9)
    block[49:65] = bytes([0x20, 0x30, 0, 1, 0x7F, 0, 1]) + bytes(9)
    block[100:108] = bytes([2]) + struct.pack("<HBHB", 100, 20, 1000, 80) + bytes(1)
    block[140:143] = bytes([0, 1, 50])
    return bytes(block)


def schedule_table():
    table = bytearray(512)
    table[0:3] = bytes([0x5B, 2, 0x5B])
    table[32:34] = bytes([0x06, 0x18])
    table[128:130] = bytes([0x0F, 0x01])
    table[160:162] = bytes([0xFF, 0x40])
    return bytes(table)


def sensor_table():
    table = bytearray(128)
    table[0:12] = bytes([0x7D, 2, 0]) + struct.pack("<HHH", 1000, 0, 10) + bytes([255, 20, 8])
    table[32:37] = bytes([1, 0, 0, 0, 0])
    table[48:53] = bytes([0, 1, 1, 0, 2])
    return bytes(table)


def edid():
    block = bytearray(256)
    block[0:8] = bytes([0, 255, 255, 255, 255, 255, 255, 0])
    block[18:20] = bytes([1, 3])
    block[54:72] = bytes.fromhex("023a801871382d40582c45000000000000 1e".replace(" ", ""))
    block[126] = 1
    block[128:132] = bytes([2, 3, 4, 0])
    for start in (0, 128):
        block[start + 127] = -sum(block[start:start + 127]) & 0xFF
    return bytes(block)


def rv_header(*starts):
    data = bytearray(32 + 32 * len(starts))
    data[0:2] = bytes([1, len(starts)])
    for i, start in enumerate(starts):
        struct.pack_into("<I", data, 32 + 32 * i + 4, start)
    return bytes(data)


def rv_file(*records):
    data = struct.pack("<H", len(records)) + bytes(30)
    for address, delay, payload in records:
        data += struct.pack("<IHH", address, delay, len(payload)) + payload
    return data


# Name, and the address and length of a read; the spaces of the register map, and what reads of them do beside.
READS = [("device", 0x00000000, 256), ("model", 0x00000002, 2), ("plugin", 0x00010000, 16),
         ("feature", 0x02000000, 496), ("clock", 0x02000024, 6), ("light", 0x0200002E, 2), ("echo", 0x02100000, 32),
         ("hdr", 0x02200117, 25), ("picture", 0x0220013A, 6), ("backup", 0x02300FF0, 16),
         ("sensor", 0x02400000, 4), ("rotation", 0x02700000, 16), ("shortcut", 0x02810000, 38),
         ("position", 0x03000000, 64), ("number", 0x03100000, 64), ("software1", 0x05000000, 64),
         ("notice", 0x0500FFFF, 1), ("software2", 0x05065000, 4), ("edid", 0x08000000, 256),
         ("detect", 0x08000000, 1), ("brightness", 0x0A000000, 512), ("region", 0x0A000E00, 512),
         ("gamma", 0x0E100000, 128), ("rv", 0x0F000000, 64), ("names", 0x0F800000, 48), ("pattern", 0x12010000, 57),
         ("program", 0x18000000, 256), ("fpga", 0xF0600000, 64)]

WRITES = [("serial", 0x00000000, counting(256)), ("address", 0x01000000, b"\1"), ("save", 0x01000001, b"\1"),
          ("reset0", 0x01000002, b"\0"), ("reset1", 0x01000002, b"\1"), ("reset2", 0x01000002, b"\2"),
          ("testpoint", 0x01000003, bytes([0, 0, 1, 0, 5])), ("reload", 0x01000004, b"\1"),
          ("mapping", 0x01000018, b"\5"), ("feature", 0x02000028, counting(8)), ("clock", 0x02000024, bytes.fromhex("240301120000")),
          ("role", 0x0200003D, b"\x5a"), ("screensize", 0x02000020, struct.pack("<HH", 1920, 1080)),
          ("input", 0x020001A5, b"\x62"), ("timeout", 0x0200003F, b"\x32"), ("echo", 0x02100000, counting(16)),
          ("hdr10", 0x02200117, b"X"), ("hlg", 0x02200117, b"x"), ("peak", 0x02200118, b"\x20\3"),
          ("picture", 0x0220013A, bytes([60, 70, 8, 0])), ("warmup", 0x0220012C, bytes([1, 30])),
          ("backup", 0x02300010, counting(100)), ("screenbrightness", 0x02400000, counting(4)),
          ("shortcut", 0x02810010, screen(2, 3, 6, 1)), ("port", 0x02810050, port_record(2, 2, 0, 0, 0)),
          ("submit", 0x02810000, b"\xb9"), ("position", 0x03000010, counting(8)), ("number", 0x03100000, counting(40)),
          ("number2", 0x03100000, counting(2)), ("software", 0x05000100, counting(300)), ("edid", 0x08000000, edid()),
          ("schedule", 0x0A000000, schedule_table()), ("sensormode", 0x0A000000, sensor_table()),
          ("mixed", 0x0A000000, mixed_block()), ("black", 0x0A000000, mixed_block(0x9B)), ("mode", 0x0A000000, b"\x9c"),
          ("gamma", 0x0E203E00, counting(512)), ("gammavalue", 0x0E300000, b"\x16"), ("rvheader", 0x0F000000, rv_header(0x1000)),
          ("rvfile", 0x0F001000, rv_file((0x02000001, 5, b"\x80"), (0x01000000, 0, counting(20)))),
          ("rvnames", 0x0F000800, counting(32)), ("replay", 0x0FF00100, b"\1"), ("rvnotice", 0x0FF00000, b"\1"),
          ("names", 0x0F800010, counting(48)), ("pattern", 0x12010000, counting(57)), ("fpga", 0xF1200000, counting(25))]

CARDS = [("recv", 1), ("multi", 2), ("dist", 3), ("launcher", 4)]


def datagrams():
    for name, address, length in READS:
        put("datagram_fuzz", "read-" + name, read(address, length))
    for name, address, data in WRITES:
        put("datagram_fuzz", "write-" + name, write(address, data))
    for name, address, data in WRITES:
        if name in ("reset0", "reset1", "reset2", "shortcut", "mixed", "sensormode", "schedule"):
            put("datagram_fuzz", "cycle-" + name, reset_made(write(address, data, options=0x60)))
    for name, device in CARDS:
        put("datagram_fuzz", "card-read-" + name, read(0x02000017, 4, device=device))
        put("datagram_fuzz", "card-write-" + name, write(0x02000001, b"\x40", device=device, port=255, board=0xFFFF))
    put("datagram_fuzz", "peer", write(0x02000028, b"\1", options=0x08))
    put("datagram_fuzz", "long", write(0x05000000, b"\x42", options=0xC4)[:14] + struct.pack("<H", 32768) + b"\x42")
    put("datagram_fuzz", "checksum", read(0x02000000, 16, options=0x02))
    put("datagram_fuzz", "cut", bytes([0x01]) + counting(30))
    put("datagram_fuzz", "empty", bytes([0x01]))


def wire(fields):
    """The frame of a datagram seed as it travels, and the same behind its envelope."""
    data = b"\x55\xaa\0" + fields[1:]
    data += struct.pack("<H", (0x5555 + sum(data[2:])) & 0xFFFF)
    return data, struct.pack("<IIIIIHHI", 0x010C0001, 1, len(data), 0, 0, 1, 28, len(data)) + data


def frames():
    for name, fields in [("read", read(0x02000000, 16)), ("write", write(0x02000028, counting(8))),
                         ("card", write(0x02000001, b"\x40", device=1, port=255, board=0xFFFF))]:
        alone, enveloped = wire(fields)
        put("frame_fuzz", name, alone)
        put("frame_fuzz", name + "-datagram", enveloped)
    put("frame_fuzz", "record", struct.pack("<IH", 0x02000028, 8) + counting(8))



def edids():
    put("edid_fuzz", "base-hdmi", bytes([0]))
    put("edid_fuzz", "base-dvi", bytes([8]))
    put("edid_fuzz", "host", bytes([0]) + edid())
    put("edid_fuzz", "host-dvi", bytes([8]) + edid())
    put("edid_fuzz", "short", bytes([2]) + edid()[:126] + b"\0")
    put("edid_fuzz", "checksum", bytes([4]) + edid()[:-1] + b"\1")
    beyond = bytearray(edid())  # a pixel and a line at a clock that makes a rate beyond 32 bits
    beyond[54:72] = bytes([0xC7, 0x10, 1, 0, 0, 1]) + bytes(12)
    put("edid_fuzz", "beyond", bytes([0]) + beyond)
    for name, mode in [("1080p60", (1920, 1080, 6000)), ("2160p30", (3840, 2160, 3000)), ("5994", (1280, 720, 5994)),
                       ("odd", (1367, 769, 5000)), ("small", (8, 1, 100)), ("large", (65535, 65535, 65535)),
                       ("unset", (0, 0xFFFF, 0))]:
        put("edid_fuzz", "mode-" + name, bytes([1]) + struct.pack("<HHH", *mode))


def piece(offset, data):
    return bytes([0]) + struct.pack("<HB", offset, len(data)) + data


def brightness():
    passes = bytes([3, 39])
    for name, block in [("schedule", schedule_table()[:250]), ("sensor", sensor_table()), ("mixed", mixed_block()),
                        ("black", mixed_block(0x9B)), ("hardware", mixed_block(0x9C))]:
        put("brightness_fuzz", name, bytes([0]) + bytes([5]) + struct.pack("<H", 0x8100) + piece(0, block) + passes * 4 +
            bytes([4]) + struct.pack("<H", 32768 + 61) + passes * 4)
        put("brightness_fuzz", "look-" + name, bytes([1, 8, 30]) + struct.pack("<H", 500) + bytes([3]) +
            struct.pack("<HHH", 10, 20, 0xFFFF) + block)
    block = mixed_block()
    put("brightness_fuzz", "pieces", bytes([0]) + piece(0, block[:100]) + piece(100, block[100:]) + passes)
    put("brightness_fuzz", "gap", bytes([0]) + piece(0, block[:100]) + piece(120, block[120:]) + passes)
    put("brightness_fuzz", "switch", bytes([0]) + piece(0, block) + piece(12, b"\0") + passes + piece(12, b"\1") + passes)
    put("brightness_fuzz", "serial", bytes([0]) + piece(0, mixed_block(0x9C)) + bytes([6 + 16]) + passes * 8)
    put("brightness_fuzz", "fault", bytes([0, 7 + 64]) + piece(0, block) + passes)


def rvfiles():
    put("rvfile_fuzz", "file", bytes([0]) + rv_file((0x02000001, 5, b"\x80"), (0x01000000, 0, counting(20))))
    put("rvfile_fuzz", "empty", bytes([0]))
    put("rvfile_fuzz", "long-record", bytes([0]) + rv_file((0, 1, counting(1030))))
    put("rvfile_fuzz", "cut", bytes([0]) + rv_file((0, 1, counting(40)))[:-5])
    put("rvfile_fuzz", "wrap", bytes([0]) + rv_file((0xFFFFFFF0, 1, counting(40))))
    put("rvfile_fuzz", "table", bytes([1]) + (rv_header(0x3000, 0x1000) + bytes(544))[:544] +
        struct.pack("<III", 0x1000, 0x2FFF, 0x7FFFFF))
    put("rvfile_fuzz", "pieces", bytes([2]) + b"".join(struct.pack("<IB", address, len(data)) + data for address, data in [
        (0x0F000000, rv_header(0x1000, 0x2000)), (0x0F000800, counting(32)), (0x0F001000, counting(100)),
        (0x0F001064, counting(50)), (0x0F002000, counting(10)), (0x0F800010, counting(48)), (0x0FF00000, b"\1"),
        (0x0FF00100, b"\1")]))


# Flash areas by their index in the flash map.
AREAS = [line.split("{")[0].split()[-1] for line in (pathlib.Path(__file__).parent / "../src/proto/flashmap.h")
         .read_text().splitlines() if line.startswith("constexpr Area k") and "kAreas" not in line]


def flash(area, offset, data, kind=1):
    return struct.pack("<BBHB", kind, AREAS.index(area), offset, len(data)) + data


def environment(key, text):
    return bytes([0, key, len(text)]) + text


def startups():
    nothing = bytes(4)
    layout = flash("kShortcut", 0, bytes([0xA8])) + flash("kShortcut", 16, screen(2, 3, 6, 1))
    put("startup_fuzz", "new", nothing)
    put("startup_fuzz", "first-boot", bytes([1, 0, 0, 0]) + flash("kScreenSize", 0, struct.pack("<II", 1920, 1080)))
    put("startup_fuzz", "large-screen", bytes([1, 0, 0, 0]) + flash("kScreenSize", 0, b"\xff" * 8))
    put("startup_fuzz", "late", bytes([4, 0, 0, 0]) + layout)
    put("startup_fuzz", "links", bytes([8, 0, 0, 0]) + layout)
    put("startup_fuzz", "layout", nothing + layout + flash("kCardSize", 0, struct.pack("<II", 128, 64)))
    put("startup_fuzz", "feature", nothing + flash("kFeature", 0, counting(255)) + flash("kFeature", 255, counting(255)))
    put("startup_fuzz", "offsets", nothing + flash("kFeature", 0x1F0, b"\xff\xff\xff\x80\x05\0\0\0\2"))
    put("startup_fuzz", "erased", nothing + b"".join(flash(area, 0, b"\xff", 0x81) for area in (
        "kFeature", "kPosition", "kNumber", "kGlobal", "kScreenSize", "kCardSize", "kScreenRecord", "kEdidModes")))
    put("startup_fuzz", "edids", nothing + flash("kEdidModes", 0, struct.pack("<HHH", 1920, 1080, 6000) * 3))
    put("startup_fuzz", "brightness", nothing + flash("kBrightness", 0, mixed_block()))
    put("startup_fuzz", "gamma", nothing + flash("kGammaTagRed1", 0, bytes.fromhex("39f6a55a")))
    put("startup_fuzz", "hardware", nothing + flash("kBasicHardware", 0, counting(255)))
    put("startup_fuzz", "environment", nothing + environment(0, b"2") + environment(2, b"not a number") +
        environment(3, b"0123456789abcdef") + environment(3, b"x" * 100) + environment(1, b""))
    for op in range(0, 15):
        put("startup_fuzz", "fault-%d" % op, bytes([2, op, op % 4, 3]))


def sequences():
    def plain(space, offset, data, kind=0):
        return struct.pack("<BBHB", kind, space, offset, len(data)) + data

    def back(space, offset, length):
        return struct.pack("<BBHB", 2, space, offset, length // 16)

    def other(register, code, data=b"", offset=0):
        return bytes([4, register, offset, code, len(data)]) + data

    cycle, reboot = bytes([5]), bytes([0xC7])
    for space in range(11):
        put("sequence_fuzz", "space-%d" % space, b"\0" + plain(space, 4, counting(8)) + back(space, 0, 16) + reboot +
            back(space, 0, 16))
        put("sequence_fuzz", "fault-%d" % space, bytes([1, 0, 3 if space < 6 else 1, 0, 3]) + plain(space, 0, counting(16), 0x80) +
            bytes([7]) + back(space, 0, 32) + plain(space, 8, counting(4)) + back(space, 0, 16))
    for register in range(0, 40, 3):
        put("sequence_fuzz", "other-%d" % register, b"\0" + other(register, 0, counting(2)) + other(register, 1, counting(4)) +
            cycle * 3 + back(0, 0, 16))
    put("sequence_fuzz", "send", bytes([1, 1, 6, 0, 2]) + plain(0, 0, counting(4)) + plain(0, 4, counting(4)) + back(0, 0, 16))


def consoles():
    lines = ["help", "fpga read 0 16", "fpga write 0x1f 0f", "flash read 0xb98000 16", "flash write 4 0011", "env get firstboot",
             "env set a b c", "env set key value", "env unset key", "cards 0 2 128 64", "card read recv 0 0 0x02000017 4",
             "card write multi 255 65535 0 ff", "link copper 0x3", "link fiber1 1", "light board 0x8100", "light board fail",
             "light card 0 0 1 200", "light card 0 0 1 off", "input 1", "clock", "clock set 2024-02-29 23:59:59",
             "fail fpga-read 2 -5", "journal on", "journal show", "journal clear", "journal off", "bus", "nothing"]
    for i, line in enumerate(lines):
        put("console_fuzz", "line-%02d" % i, b"\0" + line.encode() + b"\n")
    put("console_fuzz", "session", b"\0" + "\n".join(lines[:12]).encode())
    put("console_fuzz", "config", b"\1# a board\ncard_position = 3\nfpga_load_ms = -1\njournal = on\ninput 0 = dvi\ninput 6 = vga\n")
    put("console_fuzz", "config-bad", b"\1input 7 = dvi\n")
    put("console_fuzz", "config-word", b"\1journal\n")
    put("console_fuzz", "store", b"\2firstboot=0\nver_rootfs=V1\nfirstboot=1")
    put("console_fuzz", "store-odd", b"\2=\n\n==\nver_rootfs=\n\0a=b\n")


datagrams()
frames()
edids()
brightness()
rvfiles()
startups()
sequences()
consoles()
