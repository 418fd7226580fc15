#!/usr/bin/env bash
# Draws the icons of the menu strip into Web/icon/ with ImageMagick: the
# numbered game cells yellow01.jpg to yellow10.jpg (19 x 19), the blank cell
# yellow00.jpg, and the page arrows yellowprev/yellownext (20 x 20) with their
# disabled twins. The pictures are committed; run this again only to change
# them.
set -euo pipefail
cd "$(dirname "$0")/.."
out=Web/icon
mkdir -p "$out"
font=DejaVu-Sans-Bold
bg='#000000'

# A yellow disc with a dark number: one per cell of a menu row.
for n in $(seq 1 10); do
  name=$(printf 'yellow%02d.jpg' "$n")
  convert -size 19x19 "xc:$bg" \
    -fill '#f6c21c' -stroke '#8a5a00' -strokewidth 1 -draw 'circle 9,9 9,1' \
    -stroke none -fill '#2a1a00' -font "$font" -pointsize $([ "$n" -lt 10 ] && echo 11 || echo 9) \
    -gravity center -annotate +0+0 "$n" -quality 92 "$out/$name"
done

# The blank cell: a dim ring where no game stands.
convert -size 19x19 "xc:$bg" -fill none -stroke '#3a3320' -strokewidth 1 \
  -draw 'circle 9,9 9,2' -quality 92 "$out/yellow00.jpg"

# Page arrows: yellow when the way is open, grey when it is closed.
arrow() { # name colour polygon
  convert -size 20x20 "xc:$bg" -fill "$2" -stroke none -draw "roundrectangle 1,1 18,18 4,4" \
    -fill "$bg" -draw "polygon $3" -quality 92 "$out/$1"
}
left='12,5 12,15 6,10'
right='8,5 8,15 14,10'
arrow yellowprev.jpg '#f6c21c' "$left"
arrow yellownext.jpg '#f6c21c' "$right"
arrow yellowprevdis.jpg '#4a4a4a' "$left"
arrow yellownextdis.jpg '#4a4a4a' "$right"
echo "make-web-icons: wrote $(ls "$out" | wc -l) pictures to $out"
