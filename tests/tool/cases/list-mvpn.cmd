# Source AS and VRF route import, with the toggle on, off by option, and off by its file.
show() { velbgp decode --json "$@" 0x0009fde800000000 0x010b0a0000010007 | grep -o '"class":"[^"]*"'; }
show
show --no-mvpn
echo '{"Mvpn": false}' >MvpnLib.json
FEATURE_TOGGLE_DIR=. show
