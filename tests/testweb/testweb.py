#!/usr/bin/env python3
"""A web of test sites on loopback.

One server on 127.0.0.1 answers many host names, chosen by the Host header:
each host is a folder below the sites folder, its files served as they are.
Plain http and TLS share the one port (a TLS handshake is known by its first
byte), so a hosts table that maps a name to 127.0.0.1:port serves both
schemes. Special answers per path stand in the host folder's `.answers` file,
read at every request so a test may change them while the server runs.
Every request is appended to the log before it is answered.

Usage: testweb.py --sites DIR --port-file FILE --log FILE [--cert-dir DIR]
                  [--names a,b] [--parent PID]
"""

import argparse
import mimetypes
import os
import socket
import socketserver
import ssl
import subprocess
import sys
import threading
import time
import urllib.parse
from email.utils import formatdate

SITES = ""
LOG = ""
LOG_LOCK = threading.Lock()


def log_request(method, scheme, host, target):
    line = "%s %s %s %s\n" % (method, scheme, host or "-", target)
    with LOG_LOCK:
        with open(LOG, "a", encoding="utf-8", errors="surrogateescape") as out:
            out.write(line)
            out.flush()


def host_folder(host):
    name = host.strip().lower()
    if name.startswith("["):
        name = name[: name.find("]") + 1]
    elif ":" in name:
        name = name.split(":", 1)[0]
    if not name or "/" in name or name.startswith("."):
        return None
    folder = os.path.join(SITES, name)
    return folder if os.path.isdir(folder) else None


def read_rules(folder, target):
    """The rule for target: the fields of the first line whose path is the
    target as received, or its percent-decoded form, or '*'."""
    try:
        with open(os.path.join(folder, ".answers"), encoding="utf-8") as f:
            lines = f.read().split("\n")
    except OSError:
        return None
    decoded = urllib.parse.unquote(target, errors="surrogateescape")
    wildcard = None
    for line in lines:
        if not line or line.startswith("#"):
            continue
        fields = line.split("\t")
        rule = {}
        headers = []
        for field in fields[1:]:
            key, _, value = field.partition("=")
            if key == "header":
                headers.append(value)
            else:
                rule[key] = value
        rule["headers"] = headers
        if fields[0] in (target, decoded):
            return rule
        if fields[0] == "*" and wildcard is None:
            wildcard = rule
    return wildcard


def file_for(folder, path):
    """The file a path names below folder, or None; never outside it."""
    path = urllib.parse.unquote(path, errors="surrogateescape")
    parts = [p for p in path.split("/") if p not in ("", ".")]
    if any(p == ".." or p.startswith(".answers") for p in parts):
        return None
    full = os.path.join(folder, *parts)
    if os.path.isdir(full):
        full = os.path.join(full, "index.html")
    return full if os.path.isfile(full) else None


class Handler(socketserver.BaseRequestHandler):
    def setup(self):
        self.scheme = "http"
        conn = self.request
        conn.settimeout(30)
        try:
            first = conn.recv(1, socket.MSG_PEEK)
        except OSError:
            first = b""
        self.reader = None
        if first == b"\x16" and self.server.tls is not None:
            self.scheme = "https"
            try:
                self.request = self.server.tls.wrap_socket(conn, server_side=True)
            except (OSError, ssl.SSLError):
                return
        self.reader = self.request.makefile("rb")

    def handle(self):
        if self.reader is None:
            return
        try:
            while self.one_request():
                pass
        except (OSError, ssl.SSLError, ValueError):
            pass

    def finish(self):
        try:
            if self.reader is not None:
                self.reader.close()
        except OSError:
            pass

    def send(self, data):
        self.request.sendall(data)

    def one_request(self):
        line = self.reader.readline(65537)
        if not line:
            return False
        words = line.decode("latin-1").rstrip("\r\n").split(" ")
        if len(words) < 2:
            return False
        method, target = words[0], words[1]
        version = words[2] if len(words) > 2 else "HTTP/1.0"
        headers = {}
        while True:
            h = self.reader.readline(65537)
            if not h or h in (b"\r\n", b"\n"):
                break
            name, _, value = h.decode("latin-1").partition(":")
            headers[name.strip().lower()] = value.strip()
        body_length = int(headers.get("content-length", "0") or "0")
        if body_length > 0:
            self.reader.read(body_length)
        host = headers.get("host", "")
        if target.startswith("http://"):
            # Absolute form, as sent to a proxy: the server stands in for
            # every host it has a folder for.
            authority, _, rest = target[7:].partition("/")
            host, target = authority, "/" + rest
        log_request(method, self.scheme, host.lower(), target)
        keep = version == "HTTP/1.1" and headers.get("connection", "").lower() != "close"
        return self.answer(method, host, target) and keep

    def head(self, status, fields, length):
        out = "HTTP/1.1 %s\r\n" % status
        for f in fields:
            out += f + "\r\n"
        if length is not None:
            out += "Content-Length: %d\r\n" % length
        return (out + "\r\n").encode("latin-1", errors="replace")

    def answer(self, method, host, target):
        folder = host_folder(host)
        if folder is None:
            self.send(self.head("404 Not Found", ["Connection: close"], 0))
            return False
        rule = read_rules(folder, target) or {"headers": []}
        path = target.split("?", 1)[0].split("#", 1)[0]
        body = None
        if "body" in rule:
            body = rule["body"].encode("utf-8")
        elif "file" in rule:
            name = file_for(folder, rule["file"])
            body = open(name, "rb").read() if name else None
        elif "status" not in rule:
            name = file_for(folder, path)
            body = open(name, "rb").read() if name else None
        status = rule.get("status")
        if status is None:
            status = "200 OK" if body is not None else "404 Not Found"
        elif status.isdigit():
            status += {"200": " OK", "301": " Moved Permanently", "302": " Found",
                       "303": " See Other", "404": " Not Found",
                       "500": " Internal Server Error"}.get(status, " Answer")
        if body is None:
            body = b"" if not status.startswith("404") else b"<html>not here</html>"
        fields = []
        date = rule.get("date", formatdate(usegmt=True))
        if date != "none":
            fields.append("Date: " + date)
        ctype = rule.get("type") or mimetypes.guess_type(path)[0] or "text/html"
        fields.append("Content-Type: " + ctype)
        if "location" in rule:
            fields.append("Location: " + rule["location"])
        fields.extend(rule["headers"])
        if method == "HEAD":
            self.send(self.head(status, fields, len(body)))
            return True
        chunked = "chunked" in rule
        nolength = "nolength" in rule
        if chunked:
            fields.append("Transfer-Encoding: chunked")
        if nolength:
            fields.append("Connection: close")
        if "repeat" in rule:
            count = int(rule["repeat"] or "0")
            if count == 0 or nolength:
                fields.append("Connection: close")
            self.repeat(self.head(status, fields, len(body) * count if count and not nolength
                                  else None), body, count)
            return False
        head = self.head(status, fields, None if chunked or nolength else len(body))
        self.pace(head, body, rule, chunked)
        return not nolength and "cut" not in rule and "stall" not in rule

    def repeat(self, head, body, count):
        """Sends head, then body count times (0: until the client goes),
        for at most a minute, and closes."""
        self.send(head)
        block = body * max(1, (1 << 20) // max(1, len(body)))
        times = len(block) // max(1, len(body))
        sent = 0
        until = time.time() + 60
        while (count == 0 or sent < count) and time.time() < until:
            step = times if count == 0 else min(times, count - sent)
            self.send(block if step == times else body * step)
            sent += step

    def pace(self, head, body, rule, chunked):
        """Sends head and body, at the rule's rate (bytes a second), breaking
        off after 'cut' body bytes or stalling for 'stall' ms after 'after'."""
        rate = int(rule.get("rate", "0") or "0")
        cut = int(rule["cut"]) if "cut" in rule else None
        stall = int(rule["stall"]) if "stall" in rule else None
        after = int(rule.get("after", "0") or "0")
        delay = int(rule.get("delay", "0") or "0")
        if delay:
            time.sleep(delay / 1000.0)
        if chunked:
            step = max(1, int(rule.get("chunk", "1000")))
            pieces = [body[i : i + step] for i in range(0, len(body), step)]
            body = b"".join(b"%x\r\n%s\r\n" % (len(p), p) for p in pieces) + b"0\r\n\r\n"
        if cut is not None:
            body = body[:cut]
        sent = 0
        block = max(1, rate // 10) if rate else 1 << 20
        # The head goes out with the first block, in one write, as a server
        # that builds its whole answer does.
        pending = head
        while sent < len(body) or pending:
            if stall is not None and sent >= after:
                if pending:
                    self.send(pending)
                time.sleep(stall / 1000.0)
                return
            end = min(len(body), sent + block)
            if stall is not None and sent < after:
                end = min(end, after)
            self.send(pending + body[sent:end])
            pending = b""
            sent = end
            if rate:
                time.sleep(block / float(rate))
        if stall is not None:
            time.sleep(stall / 1000.0)


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    allow_reuse_address = True
    tls = None

    def handle_error(self, request, client_address):
        pass  # a client that went away is no news


def make_certificate(cert_dir, names):
    os.makedirs(cert_dir, exist_ok=True)
    cert = os.path.join(cert_dir, "cert.pem")
    key = os.path.join(cert_dir, "key.pem")
    alt = ",".join(["DNS:localhost", "IP:127.0.0.1"] + ["DNS:" + n for n in names])
    subprocess.run(
        ["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
         "-nodes", "-keyout", key, "-out", cert, "-days", "3650", "-subj", "/CN=testweb",
         "-addext", "subjectAltName=" + alt],
        check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    return context


def watch_parent(pid):
    while True:
        time.sleep(0.5)
        try:
            os.kill(pid, 0)
        except OSError:
            os._exit(0)


def main():
    global SITES, LOG
    parser = argparse.ArgumentParser()
    parser.add_argument("--sites", required=True)
    parser.add_argument("--port-file", required=True)
    parser.add_argument("--log", required=True)
    parser.add_argument("--cert-dir")
    parser.add_argument("--names", default="")
    parser.add_argument("--parent", type=int, default=0)
    args = parser.parse_args()
    SITES = os.path.abspath(args.sites)
    LOG = os.path.abspath(args.log)
    open(LOG, "a").close()
    server = Server(("127.0.0.1", 0), Handler)
    if args.cert_dir:
        names = [n for n in args.names.split(",") if n]
        names += [n for n in os.listdir(SITES) if os.path.isdir(os.path.join(SITES, n))]
        server.tls = make_certificate(args.cert_dir, sorted(set(n.lower() for n in names)))
    if args.parent:
        threading.Thread(target=watch_parent, args=(args.parent,), daemon=True).start()
    temp = args.port_file + ".part"
    with open(temp, "w") as out:
        out.write("%d\n" % server.server_address[1])
    os.replace(temp, args.port_file)
    try:
        server.serve_forever(poll_interval=0.2)
    except KeyboardInterrupt:
        pass


if __name__ == "__main__":
    sys.exit(main())
