#!/usr/bin/env bash
# How long the window's main thread is away at most, on the way through what people do, on X11 and on Wayland, and how
# soon the first screenful of 5,000 photographs of 12 megapixels is shown, with thumbnails to be made and with kept ones:
# makes the pictures and frames for main_thread_bench and runs it on displays of its own.
# Usage: main_thread.sh BUILD_FOLDER PHOTOGRAPH WORK_FOLDER [x11|wayland]...
set -euo pipefail
build=$1 photograph=$2 work=$3
shift 3

if [ ! -e "$work/full.frame" ]; then
    mkdir -p "$work"/{few,many,texts,large,camera,run}
    chmod 700 "$work/run"
    convert "$photograph" -resize '6000x4000!' -quality 92 "$work/large/photo.jpg"
    convert "$photograph" -resize '1600x1200!' -quality 90 "$work/small.jpg"
    convert "$photograph" -resize '4000x3000!' -quality 92 "$work/camera.jpg"
    for ((i = 0; i < 5000; ++i)); do ln "$work/camera.jpg" "$work/camera/photo$i.jpg"; done
    for ((i = 0; i < 20000; ++i)); do echo "no photograph" >"$work/texts/note$i.jpg"; done
    for ((i = 0; i < 5000; ++i)); do ln "$work/small.jpg" "$work/many/photo$i.jpg"; done
    for ((i = 0; i < 200; ++i)); do ln "$work/small.jpg" "$work/few/few$i.jpg"; done
    lumatoctl=("$build/lumatoctl" --home "$work/home" --frame)
    "$build/lumatoctl" frame new "$work/empty.frame" --lcd 800x480 --flash 16711680 >/dev/null
    "$build/lumatoctl" frame new "$work/full.frame" --lcd 480x234 --flash 16711680 >/dev/null
    "${lumatoctl[@]}" "$work/full.frame" add --make-room "$work"/many/photo{0..508}.jpg >/dev/null
fi

run() {
    cp "$work/full.frame" "$work/full.kept"
    cp "$work/empty.frame" "$work/empty.kept"
    rm -rf "$work"/{home,state,saved,frame.tar,.cache}
    mkdir -p "$work/home"
    cp "$build/resources/Language.ini" "$work/home"
    echo "$1: $(nproc) processors, load $(cut -d' ' -f1 /proc/loadavg)"
    bench=(env HOME="$work" XDG_RUNTIME_DIR="$work/run" LC_ALL=C.UTF-8 "$build/main_thread_bench" "$work")
    "${bench[@]}"
    "${bench[@]}" camera
    "${bench[@]}" camera
    mv "$work/full.kept" "$work/full.frame"
    mv "$work/empty.kept" "$work/empty.frame"
}

[ $# -gt 0 ] || set -- x11 wayland
started=()
trap 'kill "${started[@]}"' EXIT
Xvfb -displayfd 3 -screen 0 1500x1000x24 -nolisten tcp -noreset 3>"$work/display" 2>/dev/null &
started+=($!)
until [ -s "$work/display" ]; do sleep 0.1; done
export DISPLAY=:$(cat "$work/display")
for platform in "$@"; do
    if [ "$platform" = x11 ]; then
        QT_QPA_PLATFORM=xcb run x11
        continue
    fi
    XDG_RUNTIME_DIR=$work/run weston --backend=x11-backend.so --shell=kiosk-shell.so --width=1500 --height=1000 \
        --idle-time=0 --socket=bench >/dev/null 2>&1 &
    started+=($!)
    until [ -e "$work/run/bench" ]; do sleep 0.1; done
    QT_QPA_PLATFORM=wayland WAYLAND_DISPLAY=bench run wayland
done
