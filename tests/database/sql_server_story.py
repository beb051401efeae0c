#!/usr/bin/env python3
"""The office's story on the stand-in for SQL Server, through FreeTDS: sql_server_story.py FOLDER-OF-PROGRAMS.

Every session has NOCOUNT on, one expansion is the victim of a deadlock, another meets a row that somebody holds,
somebody holds two rows for a while, and a trigger keeps one number's rows from being deleted. Nothing is lost, nothing
comes twice, and what is held or cannot be archived holds up nobody.
"""
import atexit
import pathlib
import shutil
import socket
import sqlite3
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
DEMO = HERE.parents[1] / "demo"
sys.path.insert(0, str(DEMO))
from programs import Server, until  # noqa: E402

folder = pathlib.Path(tempfile.mkdtemp(prefix="sms-sql-server-"))
atexit.register(shutil.rmtree, folder, True)
database = sqlite3.connect(folder / "oa.db", isolation_level=None, timeout=30)
database.executescript((DEMO / "schema/sqlite.sql").read_text() + "create table held (Name, OAID);"
                       "insert into held values ('SMS_WaitToSend', 2), ('SMS_Queues', 7)")
with socket.socket() as free:
    free.bind(("127.0.0.1", 0))
    port = free.getsockname()[1]
double = subprocess.Popen([sys.executable, HERE / "sql_server_double.py", str(port), folder / "oa.db", folder / "tds.log",
                           "nocount", "abort:1205:SMS_SendList:2", "abort:1222:delete from SMS_WaitToSend:3"],
                          stdout=subprocess.PIPE)
atexit.register(double.terminate)
double.stdout.readline()

for i in range(10):
    database.execute("insert into VO_UserInfor (UserName, Mobile, TureName, AccountState) values (?, ?, '', '1')",
                     (f"user{i}", f"1380000000{i}"))
database.execute("insert into SMS_Order (OrderName, OrderCode, DisOrderCode, IsOrder, isPulic) "
                 "values ('NBYJ', 'DY', 'QX', '1', '1')")
database.execute("create trigger kept before delete on SMS_Queues when old.ToMB='13800000003' "
                 "begin select raise(abort, 'kept'); end")
(folder / "server").mkdir()
server = Server(folder / "server", sys.argv[1],
                f"Provider=SQLOLEDB.1;User ID=sa;Password=x;Initial Catalog=oa;Data Source=127.0.0.1,{port}",
                ["--do", "latency 20"])
server.start()


def count(what):
    return database.execute(f"select count(*) from {what}").fetchone()[0]


well = until(server.is_open, 60, "the modem is open")
for _ in range(5):
    database.execute("insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT, MsgType, "
                     "MsgContent) values ('2006-01-01 00:00:00', 'user0', ?, '', '2006-01-01 00:00:00', '0', '开会')",
                     (";".join(f"user{i}" for i in range(10)),))
well = until(lambda: count("SMS_ResultDetail") >= 35, 60, "all but the held and the kept ones are archived") and well
well = count("SMS_WaitToSend where OAID=2") == 1 and count("SMS_Queues where OAID=7 and MsgStatus='0'") == 1 and well
database.execute("delete from held")
well = until(lambda: count("SMS_ResultDetail") >= 45, 60, "all but the kept ones are archived") and well
server.control("deliver 13800000002 QX")
server.control("deliver 13900000002 你好")
well = until(lambda: count("SMS_IsOrder") == 1 and count("SMS_SIMReceive") == 1, 30, "what came is stored") and well
database.execute("drop trigger kept")
well = until(lambda: count("SMS_ResultDetail") == 51 and count("SMS_Queues") == 0, 60, "all is archived") and well
sent = len((folder / "server/sent.jsonl").read_text().splitlines())
told = [line for line in server.log().splitlines() if "无法处理" in line]
errors = {number: (folder / "tds.log").read_text().count(f'"number": {number}') for number in (1205, 1222)}
print(f"{count('SMS_SendList')} broadcasts, {sent} sent, {len(told)} rows told, {errors}")
sys.exit(0 if well and (count("SMS_SendList"), sent, len(told)) == (5, 51, 5) and errors[1205] == 1 <= errors[1222] else 1)
