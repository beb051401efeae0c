#!/usr/bin/env python3
"""Injects fifteen faults, each into a running server of its own with a simulated modem, records the figures that the
servers keep, and has promtool (Debian: prometheus) try the shipped alert rules on the recording: each fault is to be
found within five minutes, and a server that is well is not to be told of. All run at once: seven minutes. As root.
  scripts/try-alerts.py FOLDER-OF-THE-PROGRAMS [FAULT...]
Half an hour of waiting and an hour of resting are not sat out: those two figures are recorded as so much older.
"""
import os, re, shutil, signal, socket, sqlite3, subprocess, sys, tempfile, time

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
RULES = ROOT + "/packaging/monitoring/sms-server.rules.yml"
STEP = 15
SECONDS = 300


class Server:
    """One office with its modem and its server, in a folder of its own."""

    def __init__(self, programs, work, name):
        self.programs, self.name, self.folder = programs, name, f"{work}/{name}"
        self.own = self.folder + "/own"
        os.makedirs(self.own)
        self.database = self.folder + "/oa.db"
        self.sql(open(ROOT + "/demo/schema/sqlite.sql").read() + open(ROOT + "/demo/data.sql").read())
        self.sql("delete from SMS_WaitToSend; delete from SA_email;")
        self.modem = subprocess.Popen(
            [programs + "/modem-simulator", "--link", self.folder + "/modem", "--control", self.folder + "/control"],
            stdout=subprocess.DEVNULL)
        self.settings = {"CenterCode": "+8613800755500", "ServerPort": "3", "COM3": self.folder + "/modem",
                         "TimeDelay": "5", "ConnectString": "Provider=SQLite;Data Source=" + self.database}

    def sql(self, text):
        connection = sqlite3.connect(self.database, timeout=20)
        connection.executescript(text)
        connection.close()

    def control(self, *lines):
        for line in lines:
            subprocess.run([self.programs + "/modem-simulator", "--control", self.folder + "/control", "--command",
                            line], check=True, stdout=subprocess.DEVNULL)

    def start(self):
        while not os.path.islink(self.folder + "/modem"):
            time.sleep(0.1)
        command = [self.programs + "/sms-server", "--settings", self.own + "/settings.ini"]
        subprocess.run(command + [f"--set={name}={value}" for name, value in self.settings.items()], check=True)
        self.process = subprocess.Popen(
            command + ["--headless", "--start", "--metrics", f"{self.folder}/{self.name}.prom"],
            stderr=open(self.folder + "/log", "w"), stdout=subprocess.DEVNULL)

    def figures(self):
        file = f"{self.folder}/{self.name}.prom"
        return open(file).read() if os.path.exists(file) else ""


def does(*lines, sql=""):
    def inject(server):
        server.control(*lines)
        server.sql(sql)
    return inject


def refuses(event, sql=""):
    return does(sql=f"create trigger refusal before {event} begin select raise(abort, 'refused'); end; {sql}")


def database_away(server):
    for suffix in ("", "-wal", "-shm"):
        if os.path.exists(server.database + suffix):
            os.remove(server.database + suffix)
    os.mkdir(server.database)  # another file would be a database, empty


def disk_full(server):
    with open(server.own + "/filler", "wb", buffering=0) as filler:
        try:
            while True:
                filler.write(bytes(1 << 16))
        except OSError:
            pass


def child_dies(server):
    server.silent = socket.create_server(("127.0.0.1", 0))  # greets nobody: the child waits for it
    server.sql("insert into SA_email (UserName, POPIP, PopPort, EUsername, EPassword, IsBaoLiu)"
               f" values ('zhangwei', '127.0.0.1', {server.silent.getsockname()[1]}, 'x', 'x', '1')")
    while True:
        for child in subprocess.run(["ps", "-o", "pid=", "--ppid", str(server.process.pid)], text=True,
                                    capture_output=True).stdout.split():
            if "--collect-mail" in open(f"/proc/{child}/cmdline").read():
                os.kill(int(child), signal.SIGKILL)
                return
        time.sleep(0.1)


QUEUED = "insert into SMS_Queues (SOAID, ToMB, MsgContent, MsgStatus) values (-1, '13800000000', 'x', '0');"
DUE = "insert into SMS_WaitToSend (ToSendDT, ToUserList, MsgContent) values ('2026-01-05 08:30:00', 'lina', 'x')"
NEW_MAIL = ("insert into VO_Email (EmailSource, EmailStatus, EmailTo, EmailFrom, EmailSubject, EmailDate)"
            " values ('1', '1', '*lina-0-0-0*', 'x', 'x', '2026-01-05 10:00:00')")
DRAFT = "store-tpdu unsent 00010005810180F60000056479D84C07"
# Fault: what injects it into a server that is well (nothing: it is there from the start), and the alert that finds it.
FAULTS = {
    "expansion refused": (refuses("insert on SMS_SendList", DUE), "SmsPassFails expand"),
    "archive refused": (refuses("insert on SMS_ResultDetail", QUEUED), "SmsPassFails archive"),
    "alerts refused": (refuses("insert on SMS_Queues", NEW_MAIL), "SmsPassFails alert"),
    "collection refused": (does(sql="alter table SA_email rename to gone"), "SmsPassFails collect"),
    "database away": (database_away, "SmsDatabaseDown"),
    "start fails": (None, "SmsServiceNotRunning"),
    "modem silent": (does("hang"), "SmsModemDown"),
    "no registration": (does("registered 0"), "SmsNotRegistered"),
    "SIM gone": (does("sim gone"), "SmsSimUnusable"),
    "oldest row too old": (does("registered 0", sql=QUEUED), "SmsOldestRowTooOld"),
    "resting at a limit": (does(sql=QUEUED * 3), "SmsRestsAtLimit"),
    "store full": (does("storage-size 5 SM", *[DRAFT] * 4), "SmsStoreFull"),
    "disk full": (disk_full, "SmsDiskFull"),
    "child dies": (child_dies, "SmsPassFails collect"),
    "one of two dead": (lambda server: server.process.kill(), "SmsServerGone"),
    "well": (lambda server: None, None),
}
OLDER = {"oldest row too old": ("sms_oldest_waiting_seconds", 1800),
         "resting at a limit": ("sms_sending_rests_seconds", 3600)}


def record(servers):
    """series: their values, one each STEP. Points of time are counted from its begin, as promtool's clock is."""
    begin, recorded = time.time(), {}
    for step in range(SECONDS // STEP + 1):
        time.sleep(max(0, begin + step * STEP - time.time()))
        for name, server in servers.items():
            older, by = OLDER.get(name, ("none", 0))
            for line in re.findall("^[^#].*", server.figures(), re.MULTILINE):
                series, value = line.rsplit(" ", 1)
                value = float(value) - (begin if "_timestamp_seconds{" in series else 0)
                if series.startswith(older) and value > 0:
                    value += by
                recorded.setdefault(series, {})[step] = value
    return recorded


def firing(recorded, work):
    """(server, alert with its pass): minutes until it fired, as promtool evaluates the rules."""
    steps = SECONDS // STEP + 1
    with open(work + "/test.yml", "w") as test:
        test.write(f"rule_files: [{RULES}]\nevaluation_interval: {STEP}s\n"
                   f"tests:\n  - interval: {STEP}s\n    input_series:\n")
        for series, values in recorded.items():
            line = " ".join(f"{values[step]:.0f}" if step in values else "_" for step in range(steps))
            test.write(f"      - series: '{series}'\n        values: '{line}'\n")
        # It tells what it got only where that was not expected: no sample is.
        test.write("    promql_expr_test:\n      - expr: 'count_over_time(ALERTS{alertstate=\"firing\"}[1h])'\n"
                   f"        eval_time: {SECONDS}s\n        exp_samples: []\n")
    answer = subprocess.run(["promtool", "test", "rules", work + "/test.yml"], text=True, capture_output=True)
    assert "got:" in answer.stdout + answer.stderr, answer.stdout + answer.stderr
    found = {}
    for labels, count in re.findall(r"\{(alertname=[^}]*)\} ([0-9.E+]+)", answer.stdout + answer.stderr):
        label = dict(re.findall(r'(\w+)="([^"]*)"', labels))
        alert = (label["alertname"] + " " + label.get("pass", "")).strip()
        found[label["server"], alert] = (steps - float(count)) * STEP / 60
    return found


def main():
    programs, names = os.path.abspath(sys.argv[1]), sys.argv[2:] or list(FAULTS)
    work, servers = tempfile.mkdtemp(), {}
    try:
        for name in names:
            server = servers[name] = Server(programs, work, name)
            if name == "disk full":
                subprocess.run(["mount", "-t", "tmpfs", "-o", "size=128m", "tmpfs", server.own], check=True)
            if name == "start fails":
                server.settings["COM3"] = "/no/where"
            if name == "resting at a limit":
                server.settings["SendPerHour"] = "1"
            server.start()
        for name, server in servers.items():
            while f'sms_running{{server="{name}"}} {int(name != "start fails")}\n' not in server.figures():
                time.sleep(0.2)
        for name, server in servers.items():
            if FAULTS[name][0]:
                FAULTS[name][0](server)
        found = firing(record(servers), work)
    finally:
        for server in servers.values():
            for process in (server.process, server.modem):
                process.kill()
                process.wait()
        subprocess.run(["umount", work + "/disk full/own"], stderr=subprocess.DEVNULL)
        shutil.rmtree(work)
    missed = 0
    for name in names:
        alert = FAULTS[name][1]
        others = sorted(other for server, other in found if server == name and other != alert)
        minutes = found.get((name, alert))
        missed += (minutes is None) if alert else len(others)
        told = "-" if alert is None else "MISSED" if minutes is None else f"{minutes:.2f} min"
        print(f"{name:20} {alert or 'none':22} {told:9} {', '.join(others)}")
    return missed > 0


sys.exit(main())
