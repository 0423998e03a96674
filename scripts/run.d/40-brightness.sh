title "A day's brightness, and the cards that follow it: the board's clock is moved from node to node"
today=$(date +%F)
show monitor "clock set $today 05:00:00"
show brightness --mode schedule --node "07:00 40%" --node "09:00 100%" --node "18:30 60%" --node "22:00 10%"
for time in 07:00:00 09:00:00 18:30:00 22:00:00; do
  "$kadctl" monitor "clock set $today $time"
  sleep 2.5
  printf '%s  ' "$time"
  "$kadctl" brightness | grep '^brightness'
done

title "Brightness by the light of the board's sensor"
show monitor "light board 0x80FA"
show brightness --mode sensor --sensor board --line "dark 0 10%" --line "bright 1000 100%" --line "steps 20"
show brightness --mode off
show monitor "clock set $(date '+%F %T')"
