"""scripts/ts_id3.py: the timed ID3 metadata it writes into a segment."""
import os
import struct
import sys
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "scripts"))
import ts_id3  # noqa: E402


def section(table_id, body):
    length = len(body) + 4
    data = bytes([table_id, 0xB0 | (length >> 8), length & 0xFF]) + body
    return data + struct.pack(">I", ts_id3.crc32_mpeg(data))


def packet(pid, payload, pointer=b"\x00"):
    """A packet starting a unit; sections come after a pointer field."""
    data = struct.pack(">BHB", 0x47, 0x4000 | pid, 0x10) + pointer + payload
    return data + b"\xFF" * (188 - len(data))


PAT = packet(0, section(0x00, bytes([0, 1, 0xC1, 0, 0, 0, 1, 0xE0, 0x20])))
PMT = packet(0x20, section(0x02, bytes([0, 1, 0xC1, 0, 0, 0xE1, 0, 0xF0, 0,
                                        0x1B, 0xE1, 0x00, 0xF0, 0])))
VIDEO_PTS = 90000 * 3600
VIDEO = packet(0x100, b"\x00\x00\x01\xE0\x00\x00\x80\x80\x05" + ts_id3.encode_pts(VIDEO_PTS),
               pointer=b"")


def pes_of(packets, pid):
    """The payloads of pid's packets, joined, past any adaptation field."""
    return b"".join(ts_id3.payload_of(p) for p in packets if ts_id3.packet_pid(p) == pid)


class TsId3Test(unittest.TestCase):
    def test_crc_of_a_section_with_its_crc_is_zero(self):
        self.assertEqual(ts_id3.crc32_mpeg(section(0x02, b"anything")), 0)
        self.assertEqual(ts_id3.crc32_mpeg(b"123456789"), 0x0376E6E7)  # the CRC-32/MPEG-2 check

    def test_pts_round_trips(self):
        for pts in (0, 1, VIDEO_PTS, (1 << 33) - 1):
            self.assertEqual(ts_id3.decode_pts(ts_id3.encode_pts(pts)), pts)

    def test_the_program_map_gains_the_id3_stream(self):
        data, _ = ts_id3.add_metadata(PAT + PMT + VIDEO)
        packets = [data[i:i + 188] for i in range(0, len(data), 188)]
        self.assertEqual(len(packets), 3)
        pmt = ts_id3.payload_of(packets[1])[1:]
        length = ((pmt[1] & 0x0F) << 8) | pmt[2]
        self.assertEqual(ts_id3.crc32_mpeg(pmt[:3 + length]), 0)
        self.assertIn(bytes([0x15, 0xE1, 0xF0]), pmt)  # stream type 0x15 on PID 0x1F0
        self.assertIn(b"\x05\x04ID3 ", pmt)
        self.assertEqual(packets[2], VIDEO)

    def test_the_frame_rides_at_the_first_video_pts(self):
        text = "<VMAP>" + "x" * 400 + "</VMAP>"
        data, continuity = ts_id3.add_metadata(PAT + PMT + VIDEO, text, continuity=14)
        packets = [data[i:i + 188] for i in range(0, len(data), 188)]
        ours = [p for p in packets if ts_id3.packet_pid(p) == ts_id3.METADATA_PID]
        self.assertEqual(len(ours), 3)
        self.assertEqual([p[3] & 0x0F for p in ours], [14, 15, 0])
        self.assertEqual(continuity, 1)
        self.assertTrue(ours[0][1] & 0x40 and not ours[1][1] & 0x40)
        pes = pes_of(packets, ts_id3.METADATA_PID)
        self.assertEqual(pes[:4], b"\x00\x00\x01\xBD")
        self.assertEqual(struct.unpack(">H", pes[4:6])[0], len(pes) - 6)
        self.assertEqual(ts_id3.decode_pts(pes[9:14]), VIDEO_PTS)
        tag = pes[14:]
        self.assertEqual(tag[:5], b"ID3\x04\x00")
        self.assertTrue(tag.endswith(b"\x03\x00" + text.encode()))
        self.assertEqual(tag[10:14], b"TXXX")

    def test_refuses_what_it_cannot_write(self):
        with self.assertRaises(ValueError):
            ts_id3.add_metadata(PAT[:100])
        with self.assertRaises(ValueError):
            ts_id3.synchsafe(1 << 28)


if __name__ == "__main__":
    unittest.main()
