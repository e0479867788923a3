#!/usr/bin/env python3
"""Timed ID3 metadata in MPEG-TS segments, as HLS carries it.

No muxer on our machines writes it (Debian's mpegtsmux 1.22 takes KLV but
not ID3), so the test stream gets it here: each segment's program map gains
a metadata stream (stream type 0x15, registered as "ID3 "), and chosen
segments carry one ID3v2.4 tag with a user-text (TXXX) frame, in a PES
packet whose PTS is the segment's first video PTS.

    ts_id3.py IN.ts OUT.ts [TEXT_FILE]   copy IN to OUT with the metadata
                                         stream, and TEXT_FILE's text as a
                                         frame at the start when given

Test tooling only: segments of our own encoder (one program, its program map
in one packet).
"""
import struct
import sys

PACKET = 188
METADATA_PID = 0x1F0
METADATA_STREAM_TYPE = 0x15
PRIVATE_STREAM_1 = 0xBD


def crc32_mpeg(data):
    """The CRC-32 of MPEG-2 sections (polynomial 0x04C11DB7, no reflection)."""
    crc = 0xFFFFFFFF
    for byte in data:
        crc ^= byte << 24
        for _ in range(8):
            crc = ((crc << 1) ^ 0x04C11DB7) if crc & 0x80000000 else (crc << 1)
            crc &= 0xFFFFFFFF
    return crc


def synchsafe(n):
    """ID3v2 sizes: 28 bits, seven to a byte."""
    if n >= 1 << 28:
        raise ValueError("an ID3 size must fit in 28 bits")
    return bytes([(n >> 21) & 0x7F, (n >> 14) & 0x7F, (n >> 7) & 0x7F, n & 0x7F])


def id3_tag(text, description=""):
    """An ID3v2.4 tag holding one TXXX frame, UTF-8."""
    body = b"\x03" + description.encode() + b"\x00" + text.encode()
    frame = b"TXXX" + synchsafe(len(body)) + b"\x00\x00" + body
    return b"ID3\x04\x00\x00" + synchsafe(len(frame)) + frame


def encode_pts(pts):
    pts &= (1 << 33) - 1
    return bytes([
        0x21 | ((pts >> 29) & 0x0E),
        (pts >> 22) & 0xFF,
        0x01 | ((pts >> 14) & 0xFE),
        (pts >> 7) & 0xFF,
        0x01 | ((pts << 1) & 0xFE),
    ])


def decode_pts(five):
    return (((five[0] >> 1) & 0x07) << 30 | five[1] << 22 | (five[2] >> 1) << 15 |
            five[3] << 7 | five[4] >> 1)


def pes_packet(payload, pts):
    """A private-stream-1 PES packet with a PTS, data aligned."""
    header = b"\x84\x80\x05" + encode_pts(pts)  # '10', aligned; PTS only
    length = len(header) + len(payload)
    if length > 0xFFFF:
        raise ValueError("the metadata is too long for one PES packet")
    return b"\x00\x00\x01" + bytes([PRIVATE_STREAM_1]) + struct.pack(">H", length) + header + payload


def ts_packets(pid, data, continuity):
    """data in transport packets of pid, the last one padded with adaptation
    stuffing. Returns the packets and the next continuity counter."""
    packets = []
    first = True
    while data:
        room = PACKET - 4
        chunk = data[:room]
        data = data[len(chunk):]
        header = struct.pack(">BHB", 0x47, (0x4000 if first else 0) | pid, 0x10 | continuity)
        if len(chunk) < room:
            stuffing = room - len(chunk)
            header = header[:3] + bytes([0x30 | continuity])
            # adaptation_field_length, then flags and 0xFF stuffing
            adaptation = bytes([stuffing - 1]) + (b"\x00" + b"\xFF" * (stuffing - 2)
                                                  if stuffing > 1 else b"")
            chunk = adaptation + chunk
        packets.append(header + chunk)
        continuity = (continuity + 1) & 0x0F
        first = False
    return packets, continuity


def descriptor(tag, body):
    return bytes([tag, len(body)]) + body


ID3_FORMAT = b"\xFF\xFFID3 \xFFID3 "  # application format and metadata format: "ID3 "


def with_metadata_stream(section):
    """A program map section (table_id to CRC) with the metadata stream added."""
    if section[0] != 0x02:
        raise ValueError("not a program map section")
    length = ((section[1] & 0x0F) << 8) | section[2]
    program_number = section[3:5]
    info_length = ((section[10] & 0x0F) << 8) | section[11]
    program_info = section[12:12 + info_length]
    streams = section[12 + info_length:3 + length - 4]
    pointer = descriptor(0x25, ID3_FORMAT + b"\x00\x1F" + program_number)
    program_info += pointer
    es_info = descriptor(0x05, b"ID3 ") + descriptor(0x26, ID3_FORMAT + b"\x00\x0F")
    streams += bytes([METADATA_STREAM_TYPE, 0xE0 | (METADATA_PID >> 8), METADATA_PID & 0xFF,
                      0xF0 | (len(es_info) >> 8), len(es_info) & 0xFF]) + es_info
    body = section[3:10] + bytes([0xF0 | (len(program_info) >> 8), len(program_info) & 0xFF])
    body += program_info + streams
    new_length = len(body) + 4
    head = bytes([0x02, 0xB0 | (new_length >> 8), new_length & 0xFF])
    # the version goes up by one so a demuxer that saw the old map takes the new
    version = ((section[5] >> 1) + 1) & 0x1F
    body = body[:2] + bytes([0xC0 | (version << 1) | (section[5] & 1)]) + body[3:]
    crc = crc32_mpeg(head + body)
    return head + body + struct.pack(">I", crc)


def packet_pid(packet):
    return ((packet[1] & 0x1F) << 8) | packet[2]


def payload_of(packet):
    control = (packet[3] >> 4) & 0x3
    start = 4
    if control & 0x2:
        start += 1 + packet[4]
    return packet[start:] if control & 0x1 else b""


def program_map_pid(packets):
    for packet in packets:
        if packet_pid(packet) == 0 and packet[1] & 0x40:
            pat = payload_of(packet)
            pat = pat[1 + pat[0]:]
            # the first program that is not the network information table
            for at in range(8, 3 + (((pat[1] & 0x0F) << 8) | pat[2]) - 4, 4):
                if (pat[at] << 8 | pat[at + 1]) != 0:
                    return ((pat[at + 2] & 0x1F) << 8) | pat[at + 3]
    raise ValueError("no program association table")


def rewrite_program_map(packet):
    payload = payload_of(packet)
    pointer = payload[0]
    section = payload[1 + pointer:]
    length = ((section[1] & 0x0F) << 8) | section[2]
    new = with_metadata_stream(section[:3 + length])
    data = payload[:1 + pointer] + new
    if len(data) > PACKET - 4:
        raise ValueError("the program map does not fit in one packet")
    return packet[:3] + bytes([0x10 | (packet[3] & 0x0F)]) + data + b"\xFF" * (PACKET - 4 - len(data))


def first_video_pts(packets, pmt_pid):
    video_pids = set()
    for packet in packets:
        if packet_pid(packet) == pmt_pid and packet[1] & 0x40:
            payload = payload_of(packet)
            section = payload[1 + payload[0]:]
            length = ((section[1] & 0x0F) << 8) | section[2]
            info_length = ((section[10] & 0x0F) << 8) | section[11]
            at, end = 12 + info_length, 3 + length - 4
            while at < end:
                if section[at] in (0x1B, 0x24, 0x02):  # H.264, H.265, MPEG-2 video
                    video_pids.add(((section[at + 1] & 0x1F) << 8) | section[at + 2])
                at += 5 + (((section[at + 3] & 0x0F) << 8) | section[at + 4])
            break
    for packet in packets:
        if packet_pid(packet) in video_pids and packet[1] & 0x40:
            pes = payload_of(packet)
            if pes[:3] == b"\x00\x00\x01" and pes[7] & 0x80:
                return decode_pts(pes[9:14])
    raise ValueError("no video PTS in the segment")


def add_metadata(segment, text=None, continuity=0):
    """The segment with the metadata stream in its program map, and text as
    one ID3 frame at its first video PTS. Returns the bytes and the next
    continuity counter of the metadata stream."""
    if len(segment) % PACKET:
        raise ValueError("not a whole number of transport packets")
    packets = [segment[i:i + PACKET] for i in range(0, len(segment), PACKET)]
    if any(p[0] != 0x47 for p in packets):
        raise ValueError("lost transport packet sync")
    pmt_pid = program_map_pid(packets)
    frame = None
    if text is not None:
        frame, continuity = ts_packets(METADATA_PID,
                                       pes_packet(id3_tag(text), first_video_pts(packets, pmt_pid)),
                                       continuity)
    out = []
    for packet in packets:
        if packet_pid(packet) == pmt_pid and packet[1] & 0x40:
            out.append(rewrite_program_map(packet))
            if frame:
                out += frame
                frame = None
        else:
            out.append(packet)
    return b"".join(out), continuity


def main(argv):
    if len(argv) not in (3, 4):
        print(__doc__, file=sys.stderr)
        return 2
    text = open(argv[3], encoding="utf-8").read() if len(argv) == 4 else None
    data, _ = add_metadata(open(argv[1], "rb").read(), text)
    open(argv[2], "wb").write(data)
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
