title "An L-shaped wall of three ports, port by port"
show monitor "cards 2 6 128 128"
sleep 0.5 # the daemon notices the new link on its next cycle
show screen --port 0:4,3,0,0,0 --port 1:4,3,0,512,0 --port 2:2,3,384,768,0
show layout --svg "$KADREND_BOARD/l-wall.svg" --png "$KADREND_BOARD/l-wall.png" >/dev/null
