#!/usr/bin/env python3
"""The real server beside mails and mail servers that are out to stop it. By hand:

  tests/soak/mail.py poison     a mailbox with every kind of poison mail between good ones: each good one is stored
                                once, in that pass or the next, an SMS queued meanwhile leaves within 15 s; then a
                                SIGTERM while a mail server hangs
  tests/soak/mail.py servers    --accounts healthy ones among --stuck servers of the bad kinds: every healthy one is
                                collected within two intervals and 30 s, at first and when new mail has come; SMS come
                                and go within an interval meanwhile
  tests/soak/mail.py memory     the peak memory of server and collecting process together, attachments of 20 MB (as
                                root)

--database sqlite|postgresql|mariadb, --bin FOLDER of the programs (build/release/bin), --keep. The exit status is 0
when every promise was kept. Needs Python 3 and the database's packages.
"""
import argparse
import atexit
import base64
import json
import os
import pathlib
import random
import shutil
import signal
import socketserver
import sys
import tempfile
import threading
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "demo"))
from programs import PROGRAMS, Server, ServerDatabase, SqliteDatabase, until

INTERVAL = 2  # seconds


def good(number):
    return (f"From: a@example.com\r\nSubject: good {number}\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n"
            f"--b\r\n\r\ntext\r\n--b\r\nContent-Type: application/pdf; name=a.pdf\r\n\r\n{'x' * 2000}\r\n--b--\r\n"
            ).encode()


# What ends or holds up a reader that trusts its mails.
POISON = {
    "charset in a header word": b"Subject: =?iso-2022-cn-ext?B?/w4=?=\r\n\r\n",
    "charset of a body": b"Subject: p\r\nContent-Type: text/plain; charset=iso-2022-cn-ext\r\n\r\n\xff\x0e\r\n",
    "nested groups": b"Subject: p\r\nTo : " + b"a:" * 54_000 + b"\r\n\r\nx\r\n",
    "24 MB of empty parts": b"Subject: p\r\nContent-Type: multipart/mixed; boundary=b\r\n\r\n" + b"--b\r\n\r\n" * 3_000_000,
    "empty addresses": b"Subject: p\r\nTo: " + b",a" * 500_000 + b"\r\n\r\nx\r\n",
    "broken header words": b"Subject: " + b"=?a?X? " * 150_000 + b"\r\n\r\nx\r\n",
    "deep nesting": b"Subject: p\r\n" + b"".join(b"Content-Type: multipart/mixed; boundary=%d\r\n\r\n--%d\r\n" % (n, n)
                                                 for n in range(20_000)),
    "long header line": b"Subject: p\r\nX: " + b"y" * 8_000_000 + b"\r\n\r\nx\r\n",
    "a dot line behind a bare line feed": b"Subject: p\r\n\r\na\n.\r\n+OK 20 octets\r\nSubject: false\r\n\r\nb\n",
    "no end of line": b"Subject: p\r\n\r\nlast line without an end\n",
    "nothing at all": b"",
}


class MailServer(socketserver.ThreadingTCPServer):
    """A POP3 server that is healthy, or of a bad kind. mailboxes: messages by login name."""

    allow_reuse_address = daemon_threads = True

    def __init__(self, mailboxes, kind="healthy"):
        super().__init__(None, Session, bind_and_activate=False)
        while not self.server_address:  # a mail account's port is a 16-bit signed number
            try:
                self.port = random.randint(12_000, 32_000)
                self.server_address = ("127.0.0.1", self.port)
                self.server_bind()
            except OSError:
                self.server_address = None
        self.server_activate()
        self.mailboxes = mailboxes
        self.kind = kind
        self.sessions = 0
        threading.Thread(target=self.serve_forever, daemon=True).start()


class Session(socketserver.StreamRequestHandler):
    def handle(self):
        self.server.sessions += 1
        try:
            self.converse()
        except OSError:
            pass  # the client has gone

    def say(self, octets):
        self.wfile.write(octets)

    def lines(self, lines):
        self.say(b"+OK\r\n" + b"".join(line + b"\r\n" for line in lines) + b".\r\n")

    def hang(self):
        while self.rfile.read(1):
            pass

    def drip(self, octets):
        for octet in octets:
            self.say(bytes([octet]))
            time.sleep(0.5)

    def converse(self):
        kind = self.server.kind
        if kind == "never greets":
            return self.hang()
        self.say(b"+OK ready\r\n")
        if kind == "hangs after its greeting":
            return self.hang()
        name, marked = "", set()
        while line := self.rfile.readline():
            verb, _, argument = line.strip().decode("latin-1").partition(" ")
            messages = self.server.mailboxes.get(name, [])
            many = 1_000_000 if kind == "a million mails" else len(messages)
            verb = verb.upper()
            if verb == "CAPA":
                self.lines([b"USER", b"UIDL", b"PIPELINING"])
            elif verb == "STAT":
                self.say(b"+OK %d 1000\r\n" % many)
            elif verb == "UIDL":
                self.lines(b"%d id%d" % (number, number) for number in range(1, many + 1))
            elif verb == "LIST":
                self.lines(b"%d %d" % (number, len(messages[(number - 1) % len(messages)]))
                           for number in range(1, many + 1))
            elif verb == "RETR":
                message = messages[(int(argument) - 1) % len(messages)].replace(b"\r\n.", b"\r\n..")
                if kind == "drips":
                    self.drip(b"+OK\r\n" + message)
                self.say(b"+OK\r\n" + message)
                if kind == "falls silent in a mail":
                    return self.hang()
                self.say(b".\r\n")  # whatever the message ends with
            elif verb == "DELE":
                marked.add(int(argument))
                self.say(b"+OK\r\n")
            elif verb == "QUIT":
                self.server.mailboxes[name] = [message for number, message in enumerate(messages, 1)
                                               if number not in marked]
                return self.say(b"+OK\r\n")
            else:
                name = argument if verb == "USER" else name
                self.say(b"+OK\r\n")


class Office:
    def __init__(self, options, folder):
        self.database = (SqliteDatabase(folder) if options.database == "sqlite"
                         else ServerDatabase(folder, options.database))
        self.sql("insert into SMS_Order (OrderName, IsOrder, isPulic) values ('WBYJ', '1', '1');")
        (folder / "server").mkdir()
        self.server = Server(folder / "server", options.bin, self.database.connect_string, ["--do", "latency 50"],
                             [f"TimeDelay={INTERVAL}"])
        self.texts = 0
        self.children = []  # that were started
        threading.Thread(target=self.watch_children, daemon=True).start()

    def sql(self, statements):
        return self.database.sql(statements)

    def one(self, query):
        return self.sql(query + ";")[0][0]

    def account(self, port, name, keeps=1):
        key = int(self.one("select count(*) from SA_email")) + 1
        self.sql(f"insert into VO_UserInfor (UserName, AccountState) values ('user{key:03d}', '1');")
        self.sql("insert into SA_email (OAID, UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu) values "
                 f"({key}, 'user{key:03d}', '127.0.0.1', {port}, '{name}', 'p', {keeps});")
        return key

    def watch_children(self):
        while True:
            self.children += [child for child in self.living_children() if child not in self.children]
            time.sleep(0.02)

    def living_children(self):
        pid = self.server.process.pid if self.server.process else -1
        try:
            return pathlib.Path(f"/proc/{pid}/task/{pid}/children").read_text().split()
        except OSError:
            return []

    def send(self):
        """Queues an SMS; how long it took to leave."""
        self.texts += 1
        text = f"sms {self.texts}"
        begin = time.monotonic()
        self.sql("insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount) values "
                 f"(1, '', '13800000000', '{text}', '0', 0);")
        sent = self.server.folder / "sent.jsonl"
        until(lambda: sent.exists() and any(json.loads(line)["text"] == text for line in sent.read_text().splitlines()),
              120, "the SMS leaves")
        return time.monotonic() - begin

    def receive(self):
        """An SMS arrives; how long it took to be stored."""
        self.texts += 1
        begin = time.monotonic()
        self.server.control(f"deliver +8613900000000 in {self.texts}")
        until(lambda: self.one(f"select count(*) from SMS_SIMReceive where MsgContent='in {self.texts}'") != "0", 120,
              "the SMS is stored")
        return time.monotonic() - begin

    def stop(self):
        """SIGTERM; how long the child and the program took to end."""
        children = self.living_children()
        begin = time.monotonic()
        self.server.process.send_signal(signal.SIGTERM)
        until(lambda: not any(os.path.exists(f"/proc/{child}") for child in children), 30, "the child ends")
        child = time.monotonic() - begin
        self.server.process.wait(30)
        return len(children), child, time.monotonic() - begin, self.server.process.returncode


def promise(what, holds):
    print(("  " if holds else "! ") + what)
    return holds


def poison(options, folder):
    mails = [good(0)]
    for number, mail in enumerate(POISON.values(), 1):
        mails += [mail, good(number)]
    mailboxes = {"box": mails}
    office = Office(options, folder)
    office.account(MailServer(mailboxes).port, "box", keeps=0)
    office.account(MailServer({"box": [good(1000)]}).port, "box")
    begin = time.monotonic()
    office.server.start()
    until(office.server.is_open, 60, "the modem is opened")
    until(lambda: office.children, 60, "the collection begins")
    leaves = office.send()
    wanted = len(POISON) + 2
    stored = lambda: int(office.one("select count(*) from VO_Email where EmailSubject like 'good%'"))
    until(lambda: stored() >= wanted, 120, "the good mails are stored")
    seconds = time.monotonic() - begin
    passes = len(office.children)
    time.sleep(3 * INTERVAL)  # nothing may come again
    distinct = int(office.one("select count(distinct EmailSubject) from VO_Email where EmailSubject like 'good%'"))
    attachments = int(office.one("select count(*) from VO_EmailAttachments, VO_Email where EmailID=VOID and "
                                 "EmailSubject like 'good%'"))
    all_mails = int(office.one("select count(*) from VO_Email"))
    well = promise(f"{wanted} good mails among {len(POISON)} of poison: {distinct} stored, {stored()} rows, {attachments} "
                   f"attachments, {seconds:.1f} s, {passes} processes",
                   distinct == stored() == attachments == wanted and passes <= 2)
    well &= promise(f"of the poison {all_mails - stored()} mails stored too, {len(mailboxes['box'])} mails left on the server",
                    all_mails - stored() <= len(POISON))
    well &= promise(f"an SMS queued meanwhile left after {leaves:.1f} s", leaves <= 15)
    hanging = MailServer({}, "hangs after its greeting")
    office.account(hanging.port, "box")
    until(lambda: hanging.sessions > 0, 60, "the hanging server is met")
    children, child, program, status = office.stop()
    well &= promise(f"SIGTERM while a mail server hangs: {children} child ended after {child:.2f} s, the program after "
                    f"{program:.2f} s with {status}", children == 1 and child <= 2 and program <= 5 and status == 0)
    print(office.server.log())
    return well


BAD_KINDS = ("drips", "hangs after its greeting", "never greets", "falls silent in a mail", "a million mails")


def servers(options, folder):
    office = Office(options, folder)
    boxes = {f"box{number}": [good(number)] for number in range(options.accounts)}
    healthy = MailServer(boxes)
    # Of the last kind one is enough for this machine.
    kinds = [BAD_KINDS[4 if number == 4 else number % 4] for number in range(options.stuck)]
    bad = [MailServer({"box": [good(100_000)]}, kind) for kind in kinds]
    everybody = [(healthy.port, name) for name in boxes] + [(server.port, "box") for server in bad]
    random.shuffle(everybody)
    keys = [key for port, name in everybody for key in [office.account(port, name)] if port == healthy.port]
    office.server.start()
    until(office.server.is_open, 60, "the modem is opened")
    until(lambda: office.children, 60, "the collection begins")
    out, into, well = [], [], True
    stored = lambda: int(office.one("select count(*) from VO_Email where EOAID in (%s)" % ",".join(map(str, keys))))
    most = 2 * INTERVAL + 30
    for round_number in (1, 2):
        begin = time.monotonic()
        while stored() < round_number * len(keys) and time.monotonic() < begin + 10 * most:
            out.append(office.send())
            into.append(office.receive())
        seconds = time.monotonic() - begin
        well &= promise(f"{stored()} of {round_number * len(keys)} mails of healthy accounts beside {len(bad)} stuck ones "
                        f"stored after {seconds:.1f} s", stored() == round_number * len(keys) and seconds <= most)
        for messages in boxes.values():
            messages.append(good(len(boxes)))
    own = 1  # second, from the row to the modem's reference
    well &= promise(f"{len(out)} SMS queued meanwhile left within {max(out):.2f} s (interval {INTERVAL} s)",
                    max(out) <= INTERVAL + own)
    well &= promise(f"{len(into)} SMS that arrived were stored within {max(into):.2f} s", max(into) <= INTERVAL)
    children, child, program, status = office.stop()
    well &= promise(f"SIGTERM: child {child:.2f} s, program {program:.2f} s", child <= 2 and program <= 5 and status == 0)
    print(sorted({(server.kind, server.sessions) for server in bad}))
    print(office.server.log())
    return well


def memory_of(pid):
    """In octets, a page that several processes have counted to each in part; 0 when it has gone."""
    try:
        lines = pathlib.Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()
    except (FileNotFoundError, ProcessLookupError):
        return 0
    return sum(int(line.split()[1]) * 1024 for line in lines if line.startswith("Pss:"))


def memory(options, folder):
    size = 20 * 1024 * 1024
    mails = [b"Subject: big\r\nContent-Type: application/zip; name=big.zip\r\nContent-Transfer-Encoding: base64\r\n\r\n"
             + base64.encodebytes(random.randbytes(size)).replace(b"\n", b"\r\n") for _ in range(2)]
    office = Office(options, folder)
    office.account(MailServer({"box": mails}).port, "box")
    office.server.start()
    peak = 0
    begin = look = time.monotonic()
    while time.monotonic() < begin + 120:
        children = office.living_children()
        if children:
            peak = max(peak, memory_of(office.server.process.pid) + sum(map(memory_of, children)))
        elif time.monotonic() > look:
            if office.one("select count(*) from VO_Email") == "2":
                break
            look = time.monotonic() + 0.5
        time.sleep(0.001)
    return promise(f"two attachments of {size / 1e6:.0f} MB: server and collecting process at most {peak / 1e6:.0f} MB, "
                   f"{peak / size:.2f} times one of them", 0 < peak < 6 * size)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("work", choices=["poison", "servers", "memory"])
    parser.add_argument("--database", choices=["sqlite", "postgresql", "mariadb"], default="sqlite")
    parser.add_argument("--bin", type=pathlib.Path, default=PROGRAMS)
    parser.add_argument("--accounts", type=int, default=100)
    parser.add_argument("--stuck", type=int, default=5)
    parser.add_argument("--keep", action="store_true")
    options = parser.parse_args()
    sys.stdout.reconfigure(line_buffering=True)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="sms-mail-"))
    folder.chmod(0o755)
    # First, so that it runs last: the programs end before their folder goes.
    atexit.register(print, f"kept: {folder}") if options.keep else atexit.register(shutil.rmtree, folder, True)
    kept = {"poison": poison, "servers": servers, "memory": memory}[options.work](options, folder)
    print("kept every promise" if kept else "a promise was broken")
    return 0 if kept else 1


if __name__ == "__main__":
    sys.exit(main())
