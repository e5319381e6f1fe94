openbox &
sleep 0.5
cd /tmp/w/shot
rm -f g.frame; $B/lumatoctl frame new g.frame --lcd 800x480 --flash 512K >/dev/null
$B/lumato --home win --frame g.frame pics/*.jpg >log 2>&1 &
L=$!
sleep 6
xdotool key Escape; sleep 0.5
W=$(xdotool search --onlyvisible --name Lumato | tail -1)
eval $(xdotool getwindowgeometry --shell $W); 
import -window root a.png
X0=$X; Y0=$Y
xdotool mousemove $((X0+1000)) $((Y0+110)) click 1; sleep 0.3; xdotool keydown shift key Down key Down keyup shift; sleep 0.6
import -window root b.png
xdotool key alt+Down; sleep 0.5
import -window root c.png
xdotool key Delete; sleep 0.7
import -window root d.png
kill $L
