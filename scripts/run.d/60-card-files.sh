title "Two configuration files for receiving cards, and one replayed to all of them"
# A file of 3 records: register address, pause in ms, length, data.
make_card_file() {
  python3 - "$1" <<'PY'
import struct, sys
records = [(0x03000000 + 0x100 * i, 0, bytes([i + 1]) * n) for i, n in enumerate((16, 512, 1100))]
data = struct.pack("<H30x", len(records))
for address, pause, body in records:
    data += struct.pack("<IHH", address, pause, len(body)) + body
open(sys.argv[1], "wb").write(data)
PY
}
make_card_file "$KADREND_BOARD/first.rcfgx"
make_card_file "$KADREND_BOARD/second.rcfgx"
show rv put "$KADREND_BOARD/first.rcfgx" "$KADREND_BOARD/second.rcfgx"
show rv replay 1
show card recv 0 0 read 0x03000100 4
show card recv 1 11 read 0x03000200 4

title "The bus self-test, while something changes byte 5 behind its back, and with reads that fail"
(for _ in $(seq 60); do "$kadctl" monitor "fpga write 0x600005 00"; done) &
disturbing=$!
show selftest on --seconds 0.4 | sed -n 1,6p
wait $disturbing
show monitor "fail fpga-read 120"
show selftest on --seconds 0.3 | sed -n 1,4p
show selftest off
