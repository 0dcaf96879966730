#!/usr/bin/env python3
"""A web and FTP server on loopback that goes wrong as the address says.

  fault_server.py start <folder> [<root>]   in the background, until `stop`
  fault_server.py stop <folder>
  fault_server.py run <folder> [<root>]     in the foreground

<folder>/ports then holds lines "name=port": http, ftp (everyone may log in), ftp_login (user "me"
with password "secret"). <folder>/requests has a line for every answer over HTTP.

An address is /<id>/<steps>/<name>; <id> may be left out. The first request for it gets the first step,
and so on; the last step stays. Steps are joined by "&then=", the words of a step by "&", for
example /7/size=300000&cut=60000&then=ok/setup.exe. In a value ~XX is the character of that code.
The content is a file of <root> with that name, else `size` bytes (100000), or `body`.

both  ok            as a good server does      size=N, body=TEXT   the content, from this step on
      times=N       the step N times           cut=N     the end after N bytes
      lasts=MS      the step for so long
      hang          no answer, no end          stall=N   no end after N bytes
      pause=MS, piece=N   a pause before every piece of N bytes
HTTP  drop          an end without an answer   reset=N   a reset after N bytes
      length=N|none what is announced          status=N  with a short page for a body, or `body`
      whole         200 to a range             from=N, to=N, total=N   another range, to one
      range=none    206 without Content-Range  header=NAME: VALUE
      redirect=STEPS  to the same name (self: to itself)
      need=USER:PASSWORD, proxyneed=...  else 401 or 407
FTP   missing       550                        nosize    SIZE is not known
      user "stall"  no answer to the password

Questions, by GET: /log?id=I has a line for every request of an id: for HTTP "method range status
announced sent", for FTP the commands; /heads?id=I the requests as they came; /wait?id=I&count=N
says "ended" when N replies have come to an end or a stall (after 20 s "waiting"); /closed a port that
refuses connections; /open?port=P&after=MS serves there, /open on a new port that it tells; /clear?id=I forgets.
"""

import base64
import collections
import os
import signal
import socket
import socketserver
import struct
import subprocess
import sys
import threading
import time
from urllib.parse import parse_qsl, unquote

PAGE = b"<p>not the file</p>"
PERIOD = 1000003
root_folder = None
requests_file = None
changed = threading.Condition()
turns = collections.Counter()  # Requests for an address.
lasting = {}  # Address and step to the time of its first request and the requests since.
ended = collections.Counter()  # Replies of an id.
log = collections.defaultdict(list)
heads = collections.defaultdict(list)
closed = {}  # Port to its bound socket, which nobody listens on.


def make_block():
    """Bytes that a shifted or doubled piece shows in; test::TestContent() makes the same."""
    block, value = bytearray(PERIOD), 1
    for i in range(PERIOD):
        value = (value * 1664525 + 1013904223) & 0xFFFFFFFF
        block[i] = value >> 24
    return bytes(block)


BLOCK = make_block() * 2


class Generated:
    """`size` bytes of the block, over and over; a part is at most one block long."""

    def __init__(self, size):
        self.size = size

    def __len__(self):
        return self.size

    def __getitem__(self, part):
        begin, end = min(part.start, self.size), min(part.stop, self.size)
        at = begin % PERIOD
        return BLOCK[at : at + end - begin]


class Address:
    """One request's share of an address: its id and the words of the step whose turn it is."""

    def __init__(self, path, count=True):
        parts = path.partition("?")[0].strip("/").split("/")
        self.path = path.partition("?")[0]
        self.id, steps, self.name = (["", "ok"] + parts)[-3:] if len(parts) < 3 else parts[-3:]
        with changed:
            turn = turns[self.path]
            turns[self.path] += count
        self.words = {}
        content = Generated(100000)
        if root_folder and os.path.isfile(os.path.join(root_folder, self.name)):
            with open(os.path.join(root_folder, self.name), "rb") as file:
                content = file.read()
        for step in steps.split("&then="):
            pairs = [word.partition("=")[::2] for word in step.split("&")]
            self.words = {key: unquote(text.replace("~", "%"), "latin-1") for key, text in pairs}
            self.headers = [unquote(t.replace("~", "%"), "latin-1") for k, t in pairs if k == "header"]
            if "body" in self.words:
                content = self.words["body"].encode("latin-1")
            elif "size" in self.words:
                content = Generated(int(self.words["size"]))
            if "lasts" in self.words and turn >= 0:
                # From the first request for the step on; those in that time count as one.
                with changed:
                    begin, _ = lasting.setdefault((self.path, step), [time.monotonic(), 0])
                    over = time.monotonic() - begin > int(self.words["lasts"]) / 1000
                    lasting[self.path, step][1] += not over
                turn -= lasting[self.path, step][1]
                if not over:
                    break
                continue
            turn -= int(self.words.get("times", 1))
            if turn < 0:
                break
        self.content = content

    def number(self, word, default=None):
        return int(self.words[word]) if self.words.get(word, "").isdigit() else default


def note(identity, line):
    with changed:
        log[identity].append(line)
        return len(log[identity]) - 1


def note_end(identity, place=None, sent=0):
    with changed:
        ended[identity] += 1
        if place is not None and place < len(log[identity]):
            log[identity][place] += f" {sent}"
        changed.notify_all()


def wait_for_end(connection):
    try:
        while connection.recv(4096):
            pass
    except OSError:
        pass


def send_content(connection, address, begin, end):
    """Sends up to the step's fault; the number of bytes."""
    limit = min(address.number(word, end - begin) for word in ("cut", "reset", "stall"))
    end = min(end, begin + limit)
    piece = address.number("piece", 65536)
    for at in range(begin, end, piece):
        time.sleep(address.number("pause", 0) / 1000)
        connection.sendall(address.content[at : min(at + piece, end)])
    return end - begin


class Handler(socketserver.StreamRequestHandler):
    def handle(self):
        try:
            self.serve()
        except (OSError, UnicodeError):
            pass


class Http(Handler):
    def serve(self):
        lines = []
        while (line := self.rfile.readline().decode("latin-1")).strip():
            lines.append(line)
        if not lines:
            return
        method, target, _ = lines[0].split()
        header = {line.partition(":")[0].lower(): line.partition(":")[2].strip() for line in lines[1:]}
        if target.startswith("http://"):  # To a proxy.
            target = "/" + target.split("/", 3)[3]
        question = target.strip("/").partition("?")
        if question[0] in ("log", "heads", "wait", "closed", "open", "clear"):
            status, text = answer(question[0], dict(parse_qsl(question[2])))
            reply = f"HTTP/1.1 {status} Said\r\nContent-Length: {len(text)}\r\n\r\n{text}"
            self.wfile.write(reply.encode("latin-1"))
            return
        address = Address(target)
        with changed:
            heads[address.id].append("".join(lines))
        self.reply(address, method, header)

    def reply(self, address, method, header):
        words = address.words
        asked = header.get("range", "")
        asked = int(asked[6:-1]) if asked.startswith("bytes=") and asked.endswith("-") else None
        status, begin, end, extra = 200, 0, len(address.content), list(address.headers)
        for word, code, key, ask in (
            ("need", 401, "authorization", "WWW-Authenticate"),
            ("proxyneed", 407, "proxy-authorization", "Proxy-Authenticate"),
        ):
            right = "Basic " + base64.b64encode(words.get(word, "").encode()).decode()
            if word in words and header.get(key) != right:
                status = code
                extra.append(f'{ask}: Basic realm="the realm"')
        if "redirect" in words:
            to = words["redirect"]
            to = address.path if to == "self" else f"/{address.id}/{to}/{address.name}"
            status = 302
            extra.append(f"Location: {to}")
        status = address.number("status", status)
        if asked is not None and "whole" not in words:
            begin = address.number("from", asked)
            end = max(min(address.number("to", end - 1) + 1, end), begin)
            if status == 200:
                status = 206 if begin < len(address.content) else 416
        if status == 206 and words.get("range") != "none":
            total = address.number("total", len(address.content))
            last = max(end, total) - 1 if "total" in words else end - 1
            extra.append(f"Content-Range: bytes {begin}-{last}/{total}")
        if status not in (200, 206):
            address.content = PAGE if "body" not in words else address.content
            begin, end = 0, 0 if status in (302, 304, 416) and "body" not in words else len(address.content)
        announced = words.get("length", str(end - begin))
        silent = "hang" in words or "drop" in words
        sent, asked = 0, "-" if asked is None else asked
        place = note(address.id, f"{method} {asked} {0 if silent else status} {announced}")
        if not silent:
            length = f"Content-Length: {announced}\r\n" if announced != "none" else ""
            lines = "".join(f"{line}\r\n" for line in extra)
            head = f"HTTP/1.1 {status} Said\r\nConnection: close\r\n{length}{lines}\r\n"
            self.wfile.write(head.encode("latin-1"))
        try:
            if not silent and method != "HEAD":
                sent = send_content(self.connection, address, begin, end)
        finally:
            note_end(address.id, place, sent)
            line = f'"{method} {address.path}" {status} {sent} range="{header.get("range", "-")}"'
            print(line, file=requests_file, flush=True)
        if "hang" in words or "stall" in words:
            wait_for_end(self.connection)
        elif "reset" in words:
            time.sleep(0.05)  # A reset throws away what the reader has not taken.
            self.connection.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))


def answer(question, values):
    identity = values.get("id", "")
    with changed:
        if question == "log":
            return 200, "".join(f"{line}\n" for line in log[identity])
        if question == "heads":
            return 200, "\n".join(heads[identity])
        if question == "wait":
            count = int(values.get("count", 1))
            there = changed.wait_for(lambda: ended[identity] >= count, 20)
            return 200, "ended" if there else "waiting"
        if question == "clear":
            for table in (log, heads, ended):
                table.pop(identity, None)
            for path in [path for path in turns if path.startswith(f"/{identity}/")]:
                del turns[path]
            return 200, ""
    if question == "closed":
        listener = socket.socket()
        listener.bind(("127.0.0.1", 0))
        closed[listener.getsockname()[1]] = listener
        return 200, str(listener.getsockname()[1])
    if "port" not in values:
        return 200, str(serve(Http))
    listener = closed.pop(int(values["port"]))
    threading.Timer(int(values.get("after", 0)) / 1000, serve, (Http, listener)).start()
    return 200, ""


class Ftp(Handler):
    needs_login = False

    def say(self, text):
        self.wfile.write(text.encode() + b"\r\n")

    def serve(self):
        identity, user, passive, folder, commands = None, "", None, "", []
        address = Address("")
        self.say("220 ready")
        while line := self.rfile.readline().decode("latin-1"):
            verb, _, argument = line.strip().partition(" ")
            commands.append(line.strip())
            if verb == "CWD":
                folder += "/" + argument
            if verb in ("RETR", "SIZE"):
                path = argument if argument.startswith("/") else f"{folder}/{argument}"
                address = Address(path, count=verb == "RETR")
                identity = address.id
            if identity is not None:
                places = [note(identity, commands.pop(0)) for _ in range(len(commands))]
            if verb == "USER":
                user = argument
                self.say("331 password please")
            elif verb == "PASS":
                if user == "stall":
                    return wait_for_end(self.connection)
                right = not self.needs_login or (user, argument) == ("me", "secret")
                self.say("230 welcome" if right else "530 wrong password")
            elif verb == "PASV":
                passive = socket.create_server(("127.0.0.1", 0))
                port = passive.getsockname()[1]
                self.say(f"227 here (127,0,0,1,{port >> 8},{port & 255})")
            elif verb == "SIZE":
                self.say("500 unknown" if "nosize" in address.words else f"213 {len(address.content)}")
            elif verb == "RETR" and "missing" in address.words:
                self.say("550 no such file")
            elif verb in ("RETR", "LIST", "NLST") and passive:
                if "hang" in address.words:
                    note_end(identity)
                    return wait_for_end(self.connection)
                self.say("150 coming")
                with passive, passive.accept()[0] as data:
                    if verb == "RETR":
                        sent = send_content(data, address, 0, len(address.content))
                        note_end(identity, places[-1], sent)
                        if "stall" in address.words:
                            return wait_for_end(self.connection)
                self.say("226 done")
            elif verb == "QUIT":
                return self.say("221 bye")
            else:
                self.say("200 fine")


class FtpLogin(Ftp):
    needs_login = True


class Server(socketserver.ThreadingTCPServer):
    daemon_threads = True
    request_queue_size = 128

    def shutdown_request(self, request):
        request.close()  # No more, so that a reset stays one.


def serve(handler, listener=None):
    """Serves on a thread; the port."""
    server = Server(("127.0.0.1", 0), handler, bind_and_activate=listener is None)
    if listener:
        server.socket.close()
        server.socket = listener
        server.server_activate()
    threading.Thread(target=server.serve_forever, args=(0.05,), daemon=True).start()
    return server.socket.getsockname()[1]


def stop(folder):
    try:
        with open(os.path.join(folder, "pid"), encoding="ascii") as file:
            pid = int(file.read())
        with open(f"/proc/{pid}/cmdline", encoding="latin-1") as file:
            if os.path.basename(__file__) in file.read():
                os.kill(pid, signal.SIGKILL)
    except (OSError, ValueError):
        pass
    for name in ("pid", "ports"):
        if os.path.exists(os.path.join(folder, name)):
            os.remove(os.path.join(folder, name))


def run(folder, root=None):
    global root_folder, requests_file
    root_folder = root
    requests_file = open(os.path.join(folder, "requests"), "w", encoding="utf-8")
    ports = {"http": serve(Http), "ftp": serve(Ftp), "ftp_login": serve(FtpLogin)}
    with open(os.path.join(folder, "pid"), "w", encoding="ascii") as file:
        file.write(str(os.getpid()))
    with open(os.path.join(folder, "ports.new"), "w", encoding="ascii") as file:
        file.writelines(f"{name}={port}\n" for name, port in ports.items())
    os.rename(file.name, os.path.join(folder, "ports"))  # Whole, for those who wait for it.
    signal.pause()


def start(folder, *root):
    with open(os.path.join(folder, "out"), "w", encoding="utf-8") as out:
        child = subprocess.Popen(
            [sys.executable, os.path.abspath(__file__), "run", folder, *root],
            stdin=subprocess.DEVNULL, stdout=out, stderr=out, start_new_session=True)
    while not os.path.exists(os.path.join(folder, "ports")):
        if child.poll() is not None:
            sys.exit(f"fault_server: it ended; see {out.name}")
        time.sleep(0.02)


if __name__ == "__main__":
    if len(sys.argv) < 3 or sys.argv[1] not in ("start", "stop", "run"):
        sys.exit(__doc__)
    os.makedirs(sys.argv[2], exist_ok=True)
    stop(sys.argv[2])
    if sys.argv[1] != "stop":
        {"start": start, "run": run}[sys.argv[1]](*sys.argv[2:])
