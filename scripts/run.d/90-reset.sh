title "Back to the factory state, through the reboot: a wall of one card"
show reset 0
show layout
