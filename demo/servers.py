#!/usr/bin/env python3
"""Several servers on one private database, each with a simulated modem of its own.

  demo/servers.py story [--servers 3]     a broadcast and replies; at the end, who sent what (./run --servers 3)
  demo/servers.py kills [--kills 20]      random servers are killed and restarted at once: nothing lost, at most one
                                          message a kill sent twice, the pieces of each number in order
  demo/servers.py limit [--kills 5]       one server, SendPerHour=30, killed again and again: never 31
  demo/servers.py rate                    1, 2 and 4 servers with modems of 300 ms: the share of the summed rate
  demo/servers.py cut                     as root: one of two, in a network namespace of its own, is cut off while it
                                          waits for its modem; the other sends that message within a minute

--database postgresql|mariadb, --bin FOLDER of the programs (build/release/bin), --rows, --keep. The exit status is 0
when every promise was kept. Needs Python 3 and the database's packages.
"""
import argparse
import atexit
import collections
import json
import pathlib
import random
import shutil
import subprocess
import sys
import tempfile
import time

from programs import PROGRAMS, Server, ServerDatabase, until


# A machine that finds the database's address behind its only line, and the moment from which every packet is lost.
MACHINE = """
ip netns add sms-cut
ip link add sms-near type veth peer name sms-far netns sms-cut
ip addr add 10.213.0.1/30 dev sms-near
ip link set sms-near up
sysctl -qw net.ipv4.conf.sms-near.route_localnet=1
ip netns exec sms-cut sh -ec '
    ip addr add 10.213.0.2/30 dev sms-far
    ip link set sms-far up
    sysctl -qw net.ipv4.conf.sms-far.route_localnet=1
    ip route del table local local 127.0.0.0/8 dev lo 2>/dev/null || true
    ip route add 127.0.0.1/32 via 10.213.0.1 src 10.213.0.2'
"""
CUT = """
ip neigh replace 10.213.0.2 lladdr 02:00:00:00:00:01 dev sms-near nud permanent
ip -n sms-cut neigh replace 10.213.0.1 lladdr 02:00:00:00:00:01 dev sms-far nud permanent
"""


class OneOfSeveral(Server):
    """A server of several; its modem needs so many milliseconds a message."""

    def __init__(self, number, folder, programs, connect_string, latency, settings=()):
        self.name = f"server{number}"
        (folder / self.name).mkdir()
        super().__init__(folder / self.name, programs, connect_string, ["--do", f"latency {latency}"], settings)

    def sent(self):
        """(time, number, text) of each accepted message."""
        path = self.folder / "sent.jsonl"
        records = [json.loads(line) for line in path.read_text().splitlines()] if path.exists() else []
        return [(record.get("time", ""), record["number"], record["text"]) for record in records
                if "refused" not in record]


def fill(database, rows, numbers):
    """rows pieces to so many numbers, those of a number numbered in their order."""
    values = ",".join(f"(1, '', '138{row % numbers:08d}', '{row // numbers:04d} piece of {row}', '0', 0)"
                      for row in range(rows))
    database.sql("insert into SMS_Queues (SOAID, ToUser, ToMB, MsgContent, MsgStatus, RetryCount) values " + values + ";")


def count(database, what):
    return int(database.sql(f"select count(*) from {what};")[0][0])


def open_all(servers):
    for server in servers:
        server.start()
    return all(until(server.is_open, 60, f"{server.name} opens its modem") for server in servers)


def several(options, folder, database, many, latency):
    return [OneOfSeveral(number + 1, folder, options.bin, database.connect_string, latency, ["Servers=several"])
            for number in range(many)]


def story(options, folder):
    database = ServerDatabase(folder, options.database)
    users = "".join(f"insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) "
                    f"values ('user{i}', '138{i:08d}', '员工{i}', '1');" for i in range(30))
    database.sql(users + "insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, "
                 "MsgType, MsgContent) values ('2006-01-01', 'user0', '"
                 + ";".join(f"user{i}" for i in range(30)) + "', '', '2006-01-01', '0', '" + "今晚七点开会。" * 15 + "');")
    broadcasts = count(database, "SMS_WaitToSend")
    servers = several(options, folder, database, options.servers, 300)
    well = open_all(servers)
    well = until(lambda: count(database, "SMS_ResultDetail where IsSuccess='1'") > 0
                 and count(database, "SMS_Queues") + count(database, "SMS_WaitToSend") == 0, 180,
                 "every message is archived") and well
    archived = count(database, "SMS_ResultDetail")
    total = 0
    print(f"{broadcasts} broadcast to 30 people, {archived} results in SMS_ResultDetail:")
    for server in servers:
        sent = server.sent()
        total += len(sent)
        print(f"  {server.name}: {len(sent)} SMS to {len({number for _, number, _ in sent})} numbers, for example "
              + ", ".join(sorted({number for _, number, _ in sent})[:4]))
    return well and total == archived


def kills(options, folder):
    database = ServerDatabase(folder, options.database)
    fill(database, options.rows, options.rows // 20)
    servers = several(options, folder, database, 4, 60)
    well = open_all(servers)
    chance = random.Random(options.seed)
    left = lambda: count(database, "SMS_Queues where MsgStatus='0'")
    for number in range(options.kills):
        # Spread over the whole of the work.
        goal = options.rows - options.rows * (number + 1) // (options.kills + 2)
        well = until(lambda: left() <= goal, 300, f"{goal} rows left") and well
        time.sleep(chance.random() * 0.2)
        victim = chance.choice(servers)
        victim.kill()
        victim.start()
    well = until(lambda: count(database, "SMS_ResultDetail") == options.rows, 300, "every row is archived") and well
    sent = sorted(message for server in servers for message in server.sent())
    times = collections.Counter((number, text) for _, number, text in sent)
    first = collections.OrderedDict()
    for _, number, text in sent:
        first.setdefault((number, text))
    last = {}
    disorder = 0
    for number, text in first:
        disorder += last.get(number, "") > text
        last[number] = text
    lost = options.rows - len(times)
    doubled = sum(times.values()) - len(times)
    failed = count(database, "SMS_ResultDetail where IsSuccess='0'")
    print(f"{options.database}: {options.rows} rows, 4 servers, {options.kills} kills: lost {lost}, doubled {doubled}, "
          f"out of order {disorder}, archived as failed {failed}; "
          + ", ".join(f"{server.name} {len(server.sent())}" for server in servers))
    return well and lost == 0 and doubled <= options.kills and disorder == 0


def limit(options, folder):
    database = ServerDatabase(folder, options.database)
    fill(database, 100, 100)
    server = OneOfSeveral(1, folder, options.bin, database.connect_string, 100, ["SendPerHour=30"])
    well = True
    for number in range(options.kills):
        server.start()
        goal = 30 * (number + 1) // (options.kills + 1)
        well = until(lambda: len(server.sent()) >= goal, 120, f"{goal} sent") and well
        server.kill()
    server.start()
    well = until(lambda: "已达发送上限" in server.log(), 120, "the limit is told") and well
    time.sleep(10)  # ten more ticks
    sent = len(server.sent())
    rests = [line for line in server.log().splitlines() if "已达发送上限" in line]
    print(f"{options.database}: SendPerHour=30 over {options.kills} kills: {sent} sent of 100; told: {rests}")
    return well and sent <= 30 and len(rests) == 1


def rate(options, folder):
    rates = {}
    for many in (1, 2, 4):
        place = folder / str(many)
        place.mkdir()
        place.chmod(0o755)
        database = ServerDatabase(place, options.database)
        servers = several(options, place, database, many, 300)
        open_all(servers)
        fill(database, options.rows, options.rows // 4)
        until(lambda: sum(len(server.sent()) for server in servers) > 0, 60, "the first message")
        begin = time.monotonic()
        until(lambda: sum(len(server.sent()) for server in servers) >= options.rows, 900, "all sent")
        rates[many] = options.rows / (time.monotonic() - begin)
        for server in servers:
            server.leave_nothing()
        database.stop()
        print(f"{options.database}: {many} servers, {rates[many]:.2f} messages a second, "
              f"{rates[many] / (many * rates[1]):.3f} of {many} times one alone", flush=True)
    return all(rates[many] >= 0.95 * many * rates[1] for many in rates)


def cut(options, folder):
    atexit.register(subprocess.run, ["sh", "-c", "ip link del sms-near; ip netns del sms-cut"])
    subprocess.run(["sh", "-ec", MACHINE], check=True)
    database = ServerDatabase(folder, options.database)
    if options.database == "postgresql":
        database.sql("copy (select 'host all all all scram-sha-256') to program 'cat >>pg_hba.conf';"
                     "select pg_reload_conf();")
    far, near = (OneOfSeveral(number, folder, options.bin, database.connect_string, latency, ["Servers=several"])
                 for number, latency in ((1, 200_000), (2, 60)))
    far.within = ["ip", "netns", "exec", "sms-cut"]
    fill(database, 1, 1)
    in_hand = far.folder / "settings.ini.in-hand"
    well = open_all([far]) and until(lambda: in_hand.exists() and in_hand.stat().st_size > 0, 60, "a message in hand")
    well = open_all([near]) and well
    subprocess.run(["sh", "-ec", CUT], check=True)
    begin = time.monotonic()
    well = until(near.sent, 120, "the other sends the message") and well
    seconds = time.monotonic() - begin
    far.kill()  # it would wait for its modem
    print(f"{options.database}: {seconds:.1f} s after the cut; " + repr([server.log() for server in (near, far)]))
    return well and seconds < 60


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("work", choices=["story", "kills", "limit", "rate", "cut"])
    parser.add_argument("--servers", type=int, default=3)
    parser.add_argument("--database", choices=["postgresql", "mariadb"], default="postgresql")
    parser.add_argument("--bin", type=pathlib.Path, default=PROGRAMS)
    parser.add_argument("--rows", type=int)
    parser.add_argument("--kills", type=int)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--keep", action="store_true")
    options = parser.parse_args()
    options.bin = options.bin.resolve()
    options.rows = options.rows or {"kills": 2000, "rate": 400}.get(options.work, 0)
    options.kills = options.kills or (5 if options.work == "limit" else 20)
    folder = pathlib.Path(tempfile.mkdtemp(prefix="sms-servers-"))
    folder.chmod(0o755)
    # First, so that it runs last: the programs end before their folder goes.
    atexit.register(print, f"kept: {folder}") if options.keep else atexit.register(shutil.rmtree, folder, True)
    return 0 if globals()[options.work](options, folder) else 1


if __name__ == "__main__":
    sys.exit(main())
