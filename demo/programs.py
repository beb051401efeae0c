"""Starts the real programs on private databases, for demo/servers.py and the scripts in tests/soak."""
import atexit
import os
import pathlib
import signal
import socket
import sqlite3
import subprocess
import sys
import time

DEMO = pathlib.Path(__file__).resolve().parent
PROGRAMS = DEMO.parent / "build/release/bin"
START = """
set -euo pipefail
free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'; }
. "$0/databases.sh"
start_database "$1" >&2
printf '%s\\n' "$connect_string" "${PGPASSWORD:-}${MYSQL_PWD:-}" "${client[@]}" END
read -r _ || true
stop_database
"""


def until(condition, seconds, what):
    """False, with a line, when the condition does not come true in time."""
    end = time.monotonic() + seconds
    while not condition():
        if time.monotonic() > end:
            print(f"not within {seconds} s: {what}")
            return False
        time.sleep(0.05)
    return True


class SqliteDatabase:
    """A file with the office's tables."""

    def __init__(self, folder):
        self.connect_string = f"Provider=SQLite;Data Source={folder}/oa.db"
        self.connection = sqlite3.connect(folder / "oa.db", timeout=60, isolation_level=None, check_same_thread=False)
        self.connection.executescript((DEMO / "schema/sqlite.sql").read_text())

    def sql(self, statement):
        """Runs it; the rows as texts."""
        return [[str(value) for value in row] for row in self.connection.execute(statement)]


class ServerDatabase:
    """A private database server with the office's tables, ended with this program."""

    def __init__(self, folder, system):
        (folder / "run").mkdir()
        (folder / "schema").symlink_to(DEMO / "schema")
        folder.chmod(0o755)
        (folder / "run").chmod(0o777)
        self.holder = subprocess.Popen(["bash", "-c", START, str(DEMO), system], cwd=folder / "run",
                                       stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        atexit.register(self.stop)
        lines = []
        while (line := self.holder.stdout.readline().rstrip("\n")) != "END":
            if not line and self.holder.poll() is not None:
                sys.exit("the database does not start")
            lines.append(line)
        self.connect_string, password, *client = lines
        self.environment = {**os.environ, "PGPASSWORD": password, "MYSQL_PWD": password}
        self.client = client + (["-d", "oa", "-A", "-t", "-F", "\t", "-f", "-"] if system == "postgresql"
                                else ["oa", "-N", "-B"])

    def sql(self, statements):
        """Runs them; the rows as texts."""
        answer = subprocess.run(self.client, input=statements, env=self.environment, text=True, check=True,
                                stdout=subprocess.PIPE).stdout
        return [line.split("\t") for line in answer.splitlines()]

    def stop(self):
        if self.holder.poll() is None:
            self.holder.communicate("\n")


class Server:
    """A server with its settings and a simulated modem of its own, in a folder; both end with this program.
    within: what the server is run by."""

    within = ()

    def __init__(self, folder, programs, connect_string, modem_options=(), settings=()):
        self.folder = folder
        self.programs = pathlib.Path(programs).resolve()
        self.process = None
        self.modem = subprocess.Popen(
            [self.programs / "modem-simulator", "--link", folder / "modem", "--control", folder / "control",
             "--log", folder / "sent.jsonl", *modem_options],
            stdout=(folder / "modem.log").open("ab"), stderr=subprocess.STDOUT)
        atexit.register(self.leave_nothing)
        until(lambda: (folder / "control").exists(), 30, "the simulator")
        for setting in (f"ConnectString={connect_string}", "ServerPort=3", f"COM3={folder}/modem", "TimeDelay=1",
                        "CenterCode=+8613800100500", *settings):
            subprocess.run([self.programs / "sms-server", "--settings", folder / "settings.ini", "--set", setting],
                           check=True, stdout=subprocess.DEVNULL)

    def start(self, *options):
        self.process = subprocess.Popen(
            [*self.within, self.programs / "sms-server", "--settings", self.folder / "settings.ini", "--start",
             "--headless", "--log-file", self.folder / "server.log", *options],
            stdout=subprocess.DEVNULL, stderr=(self.folder / "server.err").open("ab"))

    def is_open(self):
        return "端口成功" in self.log()

    def log(self):
        path = self.folder / "server.log"
        return path.read_text() if path.exists() else ""

    def control(self, line):
        """A command to the modem; its answer."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as link:
            link.connect(str(self.folder / "control"))
            link.sendall((line + "\n").encode())
            answer = link.makefile(encoding="utf-8").readline().strip()
        if not answer.startswith("ok"):
            raise RuntimeError(f"{line}: {answer}")
        return answer[3:]

    def kill(self):
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()

    def leave_nothing(self):
        for process in (self.process, self.modem):
            if process and process.poll() is None:
                process.terminate()
                try:
                    process.wait(30)
                except subprocess.TimeoutExpired:
                    print("a program does not end within 30 s")
                    process.kill()
                    process.wait()
