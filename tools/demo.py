#!/usr/bin/env python3
"""The offline demo: a web of demo sites on loopback, a copy of the program
folder pointed at it, and the panel started from that copy.

Usage: demo.py PROGRAM_DIR DEMO_DIR [--shots SCREENSHOT_DIR]

The sites keep names of their own (lists.demo.test, games.demo.test, ...);
hosts.ini in the demo's system folder sends them to the test web. Without
--shots the panel is started and the demo waits until it ends. With --shots
(used on a virtual display) the demo walks the roads itself: it answers the
questions, copies a link, opens the game menu and the video site, asks for
the videos, and saves screenshots on the way.
"""

import os
import shutil
import socket
import struct
import subprocess
import sys
import time
import zlib

HERE = os.path.dirname(os.path.abspath(__file__))
SOURCE = os.path.dirname(HERE)
HOSTS = ["lists.demo.test", "games.demo.test", "search.demo.test", "clock.demo.test",
         "video.demo.test"]
# The clock host's date: the daily list has games for 15 November.
CLOCK_DATE = "Sat, 15 Nov 2008 10:00:00 GMT"


def tiny_swf(width, height, colour, compressed=False):
    """A one-frame Flash file whose stage is one colour; compressed ones are
    the zlib form of version 10 ('CWS'), the others plain version 6."""
    bits = 16
    value = 0
    count = 0
    for v, n in [(bits, 5), (0, bits), (width * 20, bits), (0, bits), (height * 20, bits)]:
        value = (value << n) | (v & ((1 << n) - 1))
        count += n
    pad = (8 - count % 8) % 8
    rect = (value << pad).to_bytes((count + pad) // 8, "big")
    body = rect + struct.pack("<HH", 12 << 8, 1)
    body += struct.pack("<H", (9 << 6) | 3) + bytes([(colour >> 16) & 255, (colour >> 8) & 255,
                                                     colour & 255])
    body += struct.pack("<H", 1 << 6) + struct.pack("<H", 0)
    length = 8 + len(body)
    if compressed:
        return b"CWS" + bytes([10]) + struct.pack("<I", length) + zlib.compress(body)
    return b"FWS" + bytes([6]) + struct.pack("<I", length) + body


def put(sites, host, path, data):
    full = os.path.join(sites, host, path.lstrip("/"))
    os.makedirs(os.path.dirname(full), exist_ok=True)
    with open(full, "wb") as out:
        out.write(data.encode("utf-8") if isinstance(data, str) else data)


def answer(sites, host, target, *rules):
    os.makedirs(os.path.join(sites, host), exist_ok=True)
    with open(os.path.join(sites, host, ".answers"), "a", encoding="utf-8") as out:
        out.write("\t".join((target,) + rules) + "\n")


def page(title, colour, body):
    return ("<html><head><meta charset=utf-8><title>%s</title></head>"
            "<body style='background:%s;color:#fff;font-family:sans-serif'>%s</body></html>"
            % (title, colour, body))


def make_media(folder, name, colour, seconds=3):
    """A short clip of the demo's video service in both of its forms."""
    os.makedirs(folder, exist_ok=True)
    source = ["-f", "lavfi", "-i", "color=c=%s:size=320x240:rate=15:duration=%d" % (colour, seconds),
              "-f", "lavfi", "-i", "sine=frequency=440:duration=%d" % seconds]
    for ending, codecs in [("flv", ["-c:v", "flv", "-c:a", "libmp3lame", "-ar", "22050"]),
                           ("mp4", ["-c:v", "libx264", "-pix_fmt", "yuv420p", "-c:a", "aac"])]:
        target = os.path.join(folder, "%s.%s" % (name, ending))
        subprocess.run(["ffmpeg", "-loglevel", "error", "-y"] + source + codecs + ["-shortest",
                        target], check=True)


def make_sites(sites):
    shutil.rmtree(sites, ignore_errors=True)
    # Lists in the INI forms the jobs read: top games by link and by name,
    # and the games of the day.
    put(sites, "lists.demo.test", "/Top.ini",
        "[List]\n1=https://games.demo.test/files/Star.swf\n2=Rocket Race\n3=Meteor Storm\n"
        "[Title]\n1=Star.swf\n2=Rocket Race.swf\n3=Meteor.swf\n")
    put(sites, "lists.demo.test", "/Daily.ini",
        "[Daily]\n1115=https://games.demo.test/daily/Moon.swf\n1115a=Rocket Race\n"
        "[Title]\n1115=Moon.swf\n1115a=Rocket Race of the day.swf\n")
    answer(sites, "clock.demo.test", "*", "date=" + CLOCK_DATE)
    # The web search, answering in the form of its result pages.
    answer(sites, "search.demo.test", "/search?p=Rocket Race", "file=rocket-results.htm")
    answer(sites, "search.demo.test", "/search?p=Meteor Storm", "file=meteor-results.htm")
    put(sites, "search.demo.test", "/meteor-results.htm",
        "<html><body><h2>>Search Results<</h2><ol>"
        "<li><a class=\"r\" href=\"https://games.demo.test/flash_games.php?id=7\">Meteor Storm"
        "</a></ol></body></html>")
    put(sites, "search.demo.test", "/rocket-results.htm",
        "<html><body><h2>>Search Results<</h2><ol>"
        "<li><a class=yschttl href=\"**https%3a//games.demo.test/play/rocket.htm\">Rocket Race"
        "</a></ol></body></html>")
    # Game sites embedding their files in each way the locator knows.
    put(sites, "games.demo.test", "/top.htm",
        page("Top games", "#20304a", "<h2>Top games of the demo web</h2><p>Star, Rocket Race, "
             "Meteor. <a href='https://games.demo.test/arcade/comet.htm'>Comet</a> for a copied "
             "link, <a href='http://video.demo.test/Show/all'>the video service</a>.</p>"
             # The walk on a virtual display follows the link itself once the
             # games are in: it puts up /go-video when it is time.
             "<script>var wait = setInterval(function () { fetch('/go-video').then("
             "function (r) { if (r.ok) { clearInterval(wait);"
             " location.href = 'http://video.demo.test/Show/all'; } }); }, 3000);"
             "</script>"))
    put(sites, "games.demo.test", "/play/rocket.htm",
        page("Rocket Race", "#402020", "<embed src=\"https://games.demo.test/files/Rocket.swf\" "
             "width=\"640\" height=\"480\">"))
    put(sites, "games.demo.test", "/arcade/comet.htm",
        page("Comet", "#203040", "<script>showGame(\"comet.swf\", \"Comet\", 640, 480);</script>"
             "<p>Comet</p>"))
    answer(sites, "games.demo.test", "/flash_show.php?id=7", "file=meteor-show.htm")
    put(sites, "games.demo.test", "/meteor-show.htm",
        page("Meteor", "#303030", "<object><param name=movie value=\"/files/Meteor.swf\" "
             "width=550 height=400></object>"))
    put(sites, "games.demo.test", "/files/Star.swf", tiny_swf(310, 370, 0xE0B020))
    put(sites, "games.demo.test", "/files/Rocket.swf", tiny_swf(310, 370, 0xC03030, True))
    put(sites, "games.demo.test", "/files/Meteor.swf", tiny_swf(310, 370, 0x8040C0))
    put(sites, "games.demo.test", "/arcade/comet.swf", tiny_swf(310, 370, 0x30A0E0, True))
    put(sites, "games.demo.test", "/daily/Moon.swf", tiny_swf(310, 370, 0xD0D0D0))
    # The video service: a Show page, its sorted list, watch pages whose
    # direct addresses stand percent-encoded twice, and the media.
    put(sites, "video.demo.test", "/Show/all",
        page("Show", "#101010", "<h2>Show: all videos</h2><ol><li>Sunset 1/2 2008-10-12"
             "<li>Harbour 2/2 2008-10-12</ol>"))
    put(sites, "video.demo.test", "/Show/sortlink.htm",
        "[Sorted]\n1=http://video.demo.test/v/sunset\n2=http://video.demo.test/v/harbour\n"
        "[Title]\n1=Sunset 1/2 2008-10-12\n2=Harbour 2/2 2008-10-12\n")
    for name in ("sunset", "harbour"):
        def encoded(ending):
            return ("https%3A%2F%2Fvideo.demo.test%2Fmedia%2F" + name + "." + ending +
                    "%3Fsig%3Dab%2526n%3D1")
        watch = ("<html><body><script>var swfArgs = {\"fmt_url_map\": \"34%7C" + encoded("flv") +
                 "%2C18%7C" + encoded("mp4") + "%2C5%7C" + encoded("flv") + "\", "
                 "\"fmt_stream_map\": \"C5%7C" + encoded("flv") + "%2C\"};</script></body></html>")
        put(sites, "video.demo.test", "/watch/%s.htm" % name, watch)
        answer(sites, "video.demo.test", "/watch?v=" + name, "file=watch/%s.htm" % name)
        answer(sites, "video.demo.test", "/watch?v=%s&fmt=18" % name, "file=watch/%s.htm" % name)
    make_media(os.path.join(sites, "video.demo.test", "media"), "sunset", "orange")
    make_media(os.path.join(sites, "video.demo.test", "media"), "harbour", "teal")


def set_key(path, section, key, value):
    """Sets key in section of an INI file, keeping every other line."""
    with open(path, encoding="utf-8", errors="surrogateescape") as f:
        lines = f.read().split("\n")
    current = None
    insert = None
    for i, line in enumerate(lines):
        text = line.strip()
        if text.startswith("["):
            if current == section.lower() and insert is None:
                insert = i
            current = text[1:text.find("]")].strip().lower()
            continue
        if current == section.lower() and "=" in text and not text.startswith(";"):
            if text.split("=", 1)[0].strip().lower() == key.lower():
                lines[i] = "%s=%s" % (key, value)
                break
    else:
        if current == section.lower() and insert is None:
            insert = len(lines)
        if insert is None:
            lines += ["[%s]" % section]
            insert = len(lines)
        lines.insert(insert, "%s=%s" % (key, value))
    with open(path, "w", encoding="utf-8", errors="surrogateescape") as f:
        f.write("\n".join(lines))


def make_program(program_dir, demo):
    program = os.path.join(demo, "program")
    shutil.copytree(program_dir, program, symlinks=True)
    for name in ("Game", "Video"):
        shutil.rmtree(os.path.join(program, name), ignore_errors=True)
        os.makedirs(os.path.join(program, name))
    for name in ("iGame.ini", "iMedia.htm", os.path.join("Web", "Menu1.htm")):
        if os.path.exists(os.path.join(program, name)):
            os.remove(os.path.join(program, name))
    define = os.path.join(program, "Define.ini")
    for section, key, value in [
            ("@Vexan", "Collect2", "2"),
            ("Game", "List", "https://lists.demo.test/Top.ini"),
            ("Game", "Top", "https://games.demo.test/top.htm"),
            ("Game", "Search", "https://lists.demo.test/Daily.ini"),
            ("Video", "Start", "http://video.demo.test/Show/all"),
            ("Web", "ClockHost", "clock.demo.test"),
            ("Web", "SearchHost", "search.demo.test"),
            ("Web", "FetchTimeout", "10")]:
        set_key(define, section, key, value)
    return program


def start_web(demo):
    sites = os.path.join(demo, "sites")
    port_file = os.path.join(demo, "web.port")
    if os.path.exists(port_file):
        os.remove(port_file)
    server = subprocess.Popen(
        [sys.executable, os.path.join(SOURCE, "tests", "testweb", "testweb.py"), "--sites", sites,
         "--port-file", port_file, "--log", os.path.join(demo, "requests.log"), "--cert-dir",
         os.path.join(demo, "cert"), "--parent", str(os.getpid())])
    for _ in range(200):
        if os.path.exists(port_file):
            return server, int(open(port_file).read())
        time.sleep(0.1)
    server.kill()
    raise SystemExit("demo: the test web did not come up")


def write_system(demo, port):
    system = os.path.join(demo, "system")
    os.makedirs(system, exist_ok=True)
    with open(os.path.join(system, "hosts.ini"), "w") as out:
        out.write("[Hosts]\n")
        for host in HOSTS:
            out.write("%s=127.0.0.1:%d\n" % (host, port))
        out.write("[Trust]\nCertificate=%s\n" % os.path.join(demo, "cert", "cert.pem"))
    # The phone: a memory card folder with the folders phones keep there.
    phone = os.path.join(demo, "phone")
    for name in ("Video", "System", "Music"):
        os.makedirs(os.path.join(phone, name), exist_ok=True)
    with open(os.path.join(system, "drives.ini"), "w") as out:
        out.write("[Drives]\nD=%s,removable\n" % phone)
    return system


class Carrier:
    """A plain client of the panel's carrier, posting commands as another
    process could. Connects at the first post, waiting for the panel."""

    def __init__(self, path):
        self.path = path
        self.sock = None

    def connect(self):
        end = time.time() + 60
        while self.sock is None and time.time() < end:
            try:
                s = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
                s.settimeout(10)
                s.connect(self.path)
                s.sendall(b"HELLO %d\n" % os.getpid())
                if s.recv(256).startswith(b"HELLO"):
                    self.sock = s
                    break
                s.close()
            except OSError:
                pass
            time.sleep(0.5)
        if self.sock is None:
            print("demo: the panel's carrier did not answer")

    def post(self, message, wparam, lparam=0):
        self.connect()
        if self.sock is not None:
            self.sock.sendall(b"POST %d %d %d\n" % (message, wparam, lparam))
            print("demo: posted %d %d %d to the panel" % (message, wparam, lparam))


def run(command):
    return subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                          text=True).stdout


def screenshot(folder, name):
    path = os.path.join(folder, name)
    subprocess.run("import -window root '%s' 2>/dev/null || xwd -root -silent | "
                   "convert xwd:- '%s'" % (path, path), shell=True)
    print("demo: screenshot %s" % path)


def answer_boxes(seconds, keep=()):
    """Presses Return in every question box of the panel for a while (the
    default button: Yes, OK, Save)."""
    end = time.time() + seconds
    answered = 0
    while time.time() < end:
        for title in ("Tessel", "Save", "Link", "Game", "Video"):
            for wid in run(["xdotool", "search", "--onlyvisible", "--name", title]).split():
                name = run(["xdotool", "getwindowname", wid]).strip()
                if name == "Tessel Skerry" or name in keep:
                    continue
                subprocess.run(["xdotool", "windowfocus", "--sync", wid],
                               stderr=subprocess.DEVNULL)
                subprocess.run(["xdotool", "key", "--window", wid, "Return"],
                               stderr=subprocess.DEVNULL)
                print("demo: answered \"%s\"" % name)
                answered += 1
        # A little mouse movement, as a user's, keeps the screen's events going.
        subprocess.run(["xdotool", "mousemove", str(100 + answered % 2), "100"],
                       stderr=subprocess.DEVNULL)
        time.sleep(1.5)
    return answered


def first_start(sites, shots, carrier):
    # No games yet, so the panel asks for the top games; the daily list
    # follows by itself, since the demo's Define.ini collects it daily.
    time.sleep(8)
    screenshot(shots, "demo-1-first-start.png")
    answer_boxes(40)
    screenshot(shots, "demo-2-top-games.png")
    # A copied link to a game page.
    if shutil.which("xclip"):
        subprocess.Popen("printf %s 'https://games.demo.test/arcade/comet.htm' | "
                         "xclip -selection clipboard", shell=True)
        time.sleep(4)
        screenshot(shots, "demo-3-copied-link.png")
        answer_boxes(20)
    # The video service: its link on the top games page (the Home channel),
    # then its list to the Video folder (zone 20) and to the phone (zone 21).
    put(sites, "games.demo.test", "/go-video", "go")
    time.sleep(15)
    screenshot(shots, "demo-4-video-service.png")
    carrier.post(1033, 20210)
    answer_boxes(25)
    carrier.post(1033, 20220)
    answer_boxes(30)
    screenshot(shots, "demo-5-videos.png")


def pane_pid(program, page):
    """The process of a Pane of the program that shows the given page of
    Web/, or None."""
    lumbrel = os.path.join(program, "Lumbrel.dll")
    for pid in os.listdir("/proc"):
        try:
            words = open("/proc/%s/cmdline" % pid, "rb").read().split(b"\0")
            if words[0].decode() == lumbrel and any(w.endswith(page.encode()) for w in words):
                return pid
        except (OSError, UnicodeDecodeError, IndexError):
            pass
    return None


def second_start(shots, carrier, program):
    # The program started again: the game menu holds what was collected. The
    # start page's Pane announces itself once its engine is up, which takes
    # a while on a loaded machine; its window shows right behind that. The
    # menu is asked for then, as a user would press Start.
    end = time.time() + 90
    while time.time() < end:
        pid = pane_pid(program, "iStart.htm")
        if pid and run(["xdotool", "search", "--onlyvisible", "--pid", pid]).strip():
            break
        time.sleep(0.5)
    time.sleep(3)
    carrier.post(1033, 20100)
    time.sleep(12)
    screenshot(shots, "demo-6-game-menu.png")


def end_panel(panel, carrier, program):
    """Ends the panel, and the Panes it left running (they outlive it)."""
    carrier.post(273, 8, 99)
    try:
        panel.wait(timeout=20)
    except subprocess.TimeoutExpired:
        panel.kill()
    lumbrel = os.path.join(program, "Lumbrel.dll")

    def panes():
        found = []
        for pid in os.listdir("/proc"):
            try:
                if pid.isdigit() and os.readlink("/proc/%s/exe" % pid).startswith(lumbrel):
                    found.append(int(pid))
            except OSError:
                pass
        return found

    # They are gone before the next start, so that none of them is taken
    # for a Pane of the new panel.
    for signal in (15, 9):
        for pid in panes():
            try:
                os.kill(pid, signal)
            except OSError:
                pass
        end = time.time() + 10
        while panes() and time.time() < end:
            time.sleep(0.2)


def report(demo, program):
    print("demo: requests to the demo web:")
    counts = {}
    for line in open(os.path.join(demo, "requests.log")):
        parts = line.split()
        if len(parts) == 4 and parts[3] != "/go-video":
            key = "%s %s://%s%s" % (parts[0], parts[1], parts[2].split(":")[0], parts[3])
            counts[key] = counts.get(key, 0) + 1
    for key in sorted(counts):
        print("  %3d  %s" % (counts[key], key))
    for label, folder in [("games", os.path.join(program, "Game")),
                          ("videos", os.path.join(program, "Video")),
                          ("phone videos", os.path.join(demo, "phone", "Video"))]:
        found = []
        for base, _, files in os.walk(folder):
            found += [os.path.relpath(os.path.join(base, f), folder) for f in files]
        print("demo: %s: %s" % (label, ", ".join(sorted(found)) or "none"))


def main():
    if len(sys.argv) < 3:
        raise SystemExit(__doc__)
    program_dir = os.path.abspath(sys.argv[1])
    demo = os.path.abspath(sys.argv[2])
    shots = os.path.abspath(sys.argv[4]) if len(sys.argv) > 4 and sys.argv[3] == "--shots" else None
    shutil.rmtree(demo, ignore_errors=True)
    os.makedirs(demo)
    make_sites(os.path.join(demo, "sites"))
    program = make_program(program_dir, demo)
    server, port = start_web(demo)
    system = write_system(demo, port)
    runtime = os.path.join(demo, "run")
    os.makedirs(runtime, mode=0o700)
    env = dict(os.environ, SKERRY_SYSTEM_DIR=system, XDG_RUNTIME_DIR=runtime,
               XDG_CACHE_HOME=os.path.join(demo, "cache"), LC_ALL="C")
    print("demo: the demo web answers %s on 127.0.0.1:%d" % (", ".join(HOSTS), port))
    log = open(os.path.join(demo, "panel.log"), "w")
    sock = os.path.join(runtime, "skerry", "panel.sock")

    def start():
        return subprocess.Popen([os.path.join(program, "skerry")], env=env, stdout=log,
                                stderr=log)

    panel = start()
    try:
        if shots is None:
            print("demo: the panel runs from %s; copy the link "
                  "https://games.demo.test/arcade/comet.htm to see a copied link collected" %
                  program)
            panel.wait()
        else:
            os.makedirs(shots, exist_ok=True)
            first_start(os.path.join(demo, "sites"), shots, Carrier(sock))
            end_panel(panel, Carrier(sock), program)
            panel = start()
            carrier = Carrier(sock)
            second_start(shots, carrier, program)
            end_panel(panel, carrier, program)
    finally:
        if panel.poll() is None:
            panel.terminate()
        report(demo, program)
        server.terminate()


if __name__ == "__main__":
    main()
