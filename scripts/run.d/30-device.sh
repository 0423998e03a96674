title "The device on one screen, and a cable that is pulled while the reports are watched"
show status
show watch --seconds 2 &
watching=$!
sleep 0.7
show monitor "link copper 0x5"
wait $watching
show monitor "link copper 0x7"
show time "2027-03-04 05:06:07"
