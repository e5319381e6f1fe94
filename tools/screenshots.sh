#!/usr/bin/env bash
# Takes the pictures of docs/guide.md: starts the built window on a display of its own, with a virtual frame and
# photographs of Debian's mate-backgrounds, and photographs it.
#
#   tools/screenshots.sh [BUILD_FOLDER] [OUTPUT_FOLDER]
#
# Needs xvfb, openbox, xdotool, imagemagick and mate-backgrounds.
set -euo pipefail
top=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-$top/build}
out=${2:-$top/docs/images}
photos=/usr/share/backgrounds/mate/nature
work=$(mktemp -d)
mkdir -p "$out"

display=:$((90 + RANDOM % 900))
Xvfb "$display" -screen 0 2800x1900x24 -noreset >/dev/null 2>&1 &
server=$!
trap 'kill "$server" 2>/dev/null || true; rm -rf "$work"' EXIT
export DISPLAY=$display HOME=$work/user XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work/run
unset WAYLAND_DISPLAY
mkdir -p "$HOME/Pictures/Holidays" "$XDG_CONFIG_HOME" -m 700 "$XDG_RUNTIME_DIR"
cp "$photos"/*.jpg "$HOME/Pictures/Holidays/"
for attempt in $(seq 50); do xdotool getmouselocation >/dev/null 2>&1 && break || sleep 0.1; done
openbox >/dev/null 2>&1 &

"$build/lumatoctl" frame new "$work/base.frame" --lcd 480x234 --flash 4M >/dev/null
"$build/lumatoctl" --quiet --home "$work/ctl" --frame "$work/base.frame" add \
    "$photos/Garden.jpg" "$photos/LadyBird.jpg" "$photos/FreshFlower.jpg" >/dev/null

# The palette of a dark desktop, as Qt reads it there.
dark_palette() {
    cat <<'END'
[Colors:Window]
BackgroundNormal=42,46,50
ForegroundNormal=252,252,252
ForegroundInactive=161,169,177
[Colors:View]
BackgroundNormal=27,30,32
BackgroundAlternate=35,38,41
ForegroundNormal=252,252,252
ForegroundInactive=161,169,177
[Colors:Button]
BackgroundNormal=49,54,59
ForegroundNormal=252,252,252
[Colors:Selection]
BackgroundNormal=61,174,233
ForegroundNormal=252,252,252
[Colors:Tooltip]
BackgroundNormal=49,54,59
ForegroundNormal=252,252,252
END
}

# The visible window of that title, as soon as there is one.
window_of() {
    for attempt in $(seq 100); do
        xdotool search --onlyvisible --name "$1" 2>/dev/null && return
        sleep 0.1
    done
    echo "There is no window \"$1\"." >&2
    return 1
}

# shot NAME LANGUAGE THEME SCALE FRAME [KEYS] [TITLE]: KEYS are pressed (xdotool's names) before the picture of the
# window of that title is taken.
shot() {
    local name=$1 language=$2 theme=$3 scale=$4 frame=$5 keys=${6:-} title=${7:-Lumato}
    local home=$work/home-$name
    mkdir -p "$home"
    cp "$build/resources/Language.ini" "$home/"
    python3 - "$home/Language.ini" "$language" <<'END'
import pathlib, sys
file = pathlib.Path(sys.argv[1])
text = file.read_bytes().decode("utf-16")
file.write_bytes(b"\xff\xfe" + text.replace("language_1=English", "language_1=" + sys.argv[2]).encode("utf-16-le"))
END
    mkdir -p "$home/state"
    printf '[General]\nbrowserFolder=%s\n' "$HOME/Pictures/Holidays" >"$home/state/window.ini"
    rm -f "$XDG_CONFIG_HOME/kdeglobals"
    local desktop=()
    [ "$theme" = light ] || {
        dark_palette >"$XDG_CONFIG_HOME/kdeglobals"
        desktop=(XDG_CURRENT_DESKTOP=KDE KDE_SESSION_VERSION=5)
    }
    local arguments=(--home "$home")
    if [ "$frame" = frame ]; then
        cp "$work/base.frame" "$work/$name.frame"
        arguments+=(--frame "$work/$name.frame" "$HOME/Pictures/Holidays/YellowFlower.jpg")
    fi
    env "${desktop[@]}" QT_SCALE_FACTOR="$scale" "$build/lumato" "${arguments[@]}" >"$work/$name.log" 2>&1 &
    local program=$!
    window_of Lumato >/dev/null
    sleep 2.5
    for key in $keys; do
        xdotool key "$key"
        sleep 0.6
    done
    sleep 0.5
    local window
    window=$(window_of "$title" | tail -1)
    import -window "$window" "$out/$name.png"
    kill "$program"
    wait "$program" 2>/dev/null || true
}

to_the_list="Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab Tab"  # from the browser
shot window English light 1 frame "ctrl+Return Down Down ctrl+Return $to_the_list Down Down"
shot window-dark English dark 1 frame "Down ctrl+Return"
shot window-german German light 1 frame
shot frame-screen English light 1 frame "F9" "The Frame.*s Screen"
shot window-2x English light 2 frame
shot window-german-dark-2x German dark 2 frame
shot no-frame English light 1 none
echo "The pictures are in $out."
