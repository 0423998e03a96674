title "The same wall after kill -9, and after the board lost its power"
show_wall_again() {
  for _ in $(seq 200); do
    "$kadctl" --json status 2>/dev/null | grep -q '"cards":24' && break
    sleep 0.05
  done
  show layout
}
{ kill -9 $daemon && wait $daemon; } 2>/dev/null || true
start_daemon
show_wall_again
show monitor reboot
show_wall_again
