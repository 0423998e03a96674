title "24 cards of 128 x 128 pixels behind two output ports"
show monitor "cards 0 12 128 128"
show monitor "cards 1 12 128 128"
show monitor "idle 450"
show monitor "journal clear"

title "A wall of 4 rows by 6 columns, 10 cards a cable (whole rows: 12), written as registers"
show screen 4 6 10 0
show layout --svg "$KADREND_BOARD/wall.svg" --png "$KADREND_BOARD/wall.png"

title "Registers, log and journal"
show read 0x02000024 16
show read 0x03100000 4
show read 0x03000000 48
grep -h -A 3 "Begin calculate number para" "$KADREND_BOARD"/root/log/kadrend_info_*.log | tail -n 4 | cut -c1-120
show monitor "journal show" | cut -c1-100 | sed -n 1,16p
