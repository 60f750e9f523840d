#!/usr/bin/env bash
# Rows show the thumbnails that file managers share: a valid cached one as it is, a stale one
# not; an image without one gets one, stored where and as GNOME's own library finds it. A FIFO
# in the cache holds up nothing: not the other rows, not quitting, not the next start.
source "$(dirname "$0")/lib.sh"
e2e_begin thumbnails welcomed

# images.py: draws the images, a valid red thumbnail for cached.png, a FIFO for piped.png and a
# stale green one for stale.png, each as GLib names them; with "check FILE" it checks the thumbnail made for FILE.
cat >"$E2E_STATE/images.py" <<'EOF_PY'
import gi, hashlib, os, sys
gi.require_version("GdkPixbuf", "2.0")
from gi.repository import GdkPixbuf, GLib
desktop, cache = os.environ["E2E_DESKTOP"], os.path.join(GLib.get_user_cache_dir(), "thumbnails")

def solid(rgba, side):
    image = GdkPixbuf.Pixbuf.new(GdkPixbuf.Colorspace.RGB, True, 8, side, side)
    image.fill(rgba)
    return image

def thumbnail_of(path, size="normal"):
    uri = GLib.filename_to_uri(path, None)
    return uri, os.path.join(cache, size, hashlib.md5(uri.encode()).hexdigest() + ".png")

if sys.argv[1] == "draw":
    for name, rgba in (("cached", 0x0000FFFF), ("fresh", 0xFF00FFFF), ("piped", 0x00FFFFFF),
                       ("stale", 0xFFFF00FF)):
        solid(rgba, 200).savev(os.path.join(desktop, name + ".png"), "png", [], [])
    os.makedirs(os.path.join(cache, "normal"), mode=0o700, exist_ok=True)
    os.mkfifo(thumbnail_of(os.path.join(desktop, "piped.png"))[1], 0o600)
    for name, rgba, age in (("cached", 0xFF0000FF, 0), ("stale", 0x00FF00FF, 60)):
        path = os.path.join(desktop, name + ".png")
        uri, thumbnail = thumbnail_of(path)
        mtime = str(int(os.stat(path).st_mtime) - age)
        solid(rgba, 128).savev(thumbnail, "png", ["tEXt::Thumb::URI", "tEXt::Thumb::MTime"],
                               [uri, mtime])
else:
    path = os.path.join(desktop, sys.argv[2])
    uri, thumbnail = thumbnail_of(path)
    image = GdkPixbuf.Pixbuf.new_from_file(thumbnail)
    assert image.get_option("tEXt::Thumb::URI") == uri, uri
    assert int(image.get_option("tEXt::Thumb::MTime")) == int(os.stat(path).st_mtime)
    assert max(image.get_width(), image.get_height()) == 128
    assert os.stat(thumbnail).st_mode & 0o777 == 0o600
EOF_PY
export E2E_DESKTOP
/usr/bin/python3 "$E2E_STATE/images.py" draw
e2e_launch
expect "the shelf comes down" bring_shelf_down
glide 800 300

# icon_is ROW COLOUR: the centre of the row's icon has that colour.
icon_is() {
  import -window root "$E2E_ARTIFACTS/shot.png"
  [[ $(convert "$E2E_ARTIFACTS/shot.png" -crop "1x1+630+$(($(first_row_y) + 54 * $1))" \
    -depth 8 txt:- | grep -o '#[0-9A-F]\{6\}') == "$2" ]]
}
expect "a valid cached thumbnail is shown" eventually 3 icon_is 0 '#FF0000'
expect "an image without one shows its own" eventually 3 icon_is 1 '#FF00FF'
expect "a FIFO where its thumbnail would be holds up nothing" eventually 3 icon_is 2 '#00FFFF'
expect "a stale one is not used" eventually 3 icon_is 3 '#FFFF00'
expect "the thumbnail made is stored as the standard says" \
  /usr/bin/python3 "$E2E_STATE/images.py" check fresh.png
expect "the stale one is replaced" /usr/bin/python3 "$E2E_STATE/images.py" check stale.png

tray_host bottom
expect "the tray icon docks" eventually 8 tray_docked
expect "a click opens the menu" open_menu
xdotool key ctrl+q
expect "Quit ends Verrabel" eventually 5 process_gone "$E2E_APP"
e2e_launch
expect "a new start shows its shelf" bring_shelf_down
