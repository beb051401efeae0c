#!/usr/bin/env python3
"""A stand-in for SQL Server on the line: TDS 7.4 in front of an SQLite file, as far as FreeTDS and this program use it.

    sql_server_double.py PORT FILE LOG [FAULT...]

The declared types of the file's tables become the column types that clients are told. Any user, password and database
name are accepted, unencrypted, on 127.0.0.1 only. LOG gets one JSON object a line: each login, batch, remote call with
its parameter types, and error. Faults:
    nocount               every session begins with NOCOUNT ON, as the server option "user options" 512 makes it
    abort:NUMBER:TEXT:N   the N-th statement that holds TEXT inside a transaction fails with error NUMBER; 1205 (a
                          deadlock's victim) rolls the whole transaction back

Rows whose table and OAID are in the file's table "held" are locked by somebody: a statement that names them fails with
error 1222, one that reads past held rows goes on without them.

It knows no T-SQL but the session settings, nested transactions and savepoints, scope_identity(), @@rowcount,
@@trancount, "select top (n)", "update top (1)" and session locks, which are always free; everything else goes to SQLite as it
stands. A client that works here must still be tried on the real thing.
"""
import datetime
import json
import re
import socketserver
import sqlite3
import struct
import sys
import threading
import traceback

COLLATION = bytes([0x04, 0x08, 0xd0, 0x00, 0x00])  # Chinese_PRC_CI_AS
DONE, DONE_PROC, DONE_IN_PROC = 0xfd, 0xfe, 0xff
MORE, FAILED, COUNTED = 0x01, 0x02, 0x10
PROCEDURES = {10: "sp_executesql", 11: "sp_prepare", 12: "sp_execute", 13: "sp_prepexec", 15: "sp_unprepare"}


class SqlError(Exception):
    def __init__(self, number, text):
        super().__init__(text)
        self.number, self.text = number, text


# ---------------------------------------------------------------- what clients send

class Reader:
    def __init__(self, data):
        self.data, self.at = data, 0

    def take(self, n):
        part = self.data[self.at:self.at + n]
        if len(part) != n:
            raise ValueError("message too short")
        self.at += n
        return part

    def number(self, form):
        return struct.unpack("<" + form, self.take(struct.calcsize("<" + form)))[0]

    def chunked(self):
        if self.number("Q") == 0xFFFFFFFFFFFFFFFF:
            return None
        out = b""
        while size := self.number("I"):
            out += self.take(size)
        return out

    def sized(self, longest):
        if longest == 0xffff:
            return self.chunked()
        size = self.number("H")
        return None if size == 0xffff else self.take(size)

    def value(self):
        """(type name, value) of one parameter."""
        kind = self.number("B")
        if kind == 0x26:
            longest, data = self.number("B"), self.take(self.number("B"))
            return f"int{longest * 8}", int.from_bytes(data, "little", signed=True) if data else None
        if kind == 0xe7:
            longest = self.number("H")
            self.take(5)
            return f"nvarchar({'max' if longest == 0xffff else longest // 2})", text(self.sized(longest))
        if kind == 0xa5:
            longest = self.number("H")
            return f"varbinary({'max' if longest == 0xffff else longest})", self.sized(longest)
        if kind in (0x63, 0x22):
            self.number("I")
            if kind != 0x22:
                self.take(5)
            size = self.number("i")
            data = None if size == -1 else self.take(size)
            return ("image", data) if kind == 0x22 else ("ntext", text(data))
        raise ValueError(f"parameter type 0x{kind:02x}")


def text(data):
    return None if data is None else data.decode("utf-16-le", "surrogatepass")


# ---------------------------------------------------------------- what clients get

def wide(s):
    return s.encode("utf-16-le", "surrogatepass")


def counted(s):
    return bytes([len(wide(s)) // 2]) + wide(s)


def done(token, status, rows=None):
    if rows is not None:
        status |= COUNTED
    return bytes([token]) + struct.pack("<HHQ", status, 0xc1, rows or 0)


def error(e):
    body = struct.pack("<IBB", e.number, 1, 16) + struct.pack("<H", len(wide(e.text)) // 2) + wide(e.text)
    body += counted("DOUBLE") + counted("") + struct.pack("<I", 1)
    return b"\xaa" + struct.pack("<H", len(body)) + body


def change(kind, new, old):
    body = bytes([kind]) + new + old
    return b"\xe3" + struct.pack("<H", len(body)) + body


def type_info(kind):
    if kind == "int":
        return b"\x26\x04"
    if kind == "bigint":
        return b"\x26\x08"
    if kind == "datetime":
        return b"\x6f\x08"
    if kind == "varbinary(max)":
        return b"\xa5\xff\xff"
    if kind == "nvarchar(max)":
        return b"\xe7\xff\xff" + COLLATION
    return b"\xe7" + struct.pack("<H", 2 * int(re.search(r"\d+", kind)[0])) + COLLATION


def encoded(kind, value):
    if kind in ("int", "bigint"):
        size = 4 if kind == "int" else 8
        return b"\0" if value in (None, "") else bytes([size]) + int(value).to_bytes(size, "little", signed=True)
    if kind == "datetime":
        if value is None:
            return b"\0"
        when = datetime.datetime.fromisoformat(value[:19])
        days = (when.date() - datetime.date(1900, 1, 1)).days
        return b"\x08" + struct.pack("<iI", days, (when.hour * 3600 + when.minute * 60 + when.second) * 300)
    if kind.endswith("(max)"):
        if value is None:
            return b"\xff" * 8
        data = value if isinstance(value, bytes) else wide(str(value))
        return struct.pack("<Q", len(data)) + (struct.pack("<I", len(data)) + data if data else b"") + b"\0\0\0\0"
    if value is None:
        return b"\xff\xff"
    return struct.pack("<H", len(wide(str(value)))) + wide(str(value))


# ---------------------------------------------------------------- the double

class Double:
    """What all sessions share: the file, the column types, the log, the faults."""

    def __init__(self, database, log, faults):
        self.database, self.nocount, self.lock = database, "nocount" in faults, threading.Lock()
        self.log_file = open(log, "a", buffering=1, encoding="utf8")
        self.faults = [f.split(":") for f in faults if f != "nocount"]
        self.seen = [0] * len(self.faults)
        self.types = {}
        connection = sqlite3.connect(database)
        for (table,) in connection.execute("select name from sqlite_master where type in ('table', 'view')").fetchall():
            for _, name, declared, *_ in connection.execute(f'pragma table_info("{table}")'):
                self.types[name.lower()] = self.column_type(declared.lower())
        connection.close()

    @staticmethod
    def column_type(declared):
        if sized := re.search(r"char\((\d+)\)", declared):
            return f"nvarchar({sized[1]})"
        for word, kind in (("bigint", "bigint"), ("int", "int"), ("date", "datetime"), ("blob", "varbinary(max)"), ("binary", "varbinary(max)")):
            if word in declared:
                return kind
        return "nvarchar(max)"

    def log(self, **what):
        self.log_file.write(json.dumps(what, ensure_ascii=False, default=lambda b: f"0x..{len(b)}") + "\n")

    def strike(self, statement, session):
        for i, (_, number, word, turn) in enumerate(self.faults):
            if word not in statement or not session.depth:
                continue
            with self.lock:
                self.seen[i] += 1
                hit = self.seen[i] == int(turn)
            if hit:
                if number == "1205":
                    session.rollback()
                raise SqlError(int(number), "Transaction was chosen as the deadlock victim. Rerun the transaction.")

    def kind_of(self, name, values):
        if any(isinstance(v, bytes) for v in values):
            return "varbinary(max)"
        known = self.types.get(name.lower())
        if any(isinstance(v, str) and len(v) > 4000 for v in values):
            return "nvarchar(max)"
        if known:
            return known
        return "bigint" if values and all(v is None or isinstance(v, int) for v in values) else "nvarchar(4000)"


class Session:
    def __init__(self, double):
        self.double = double
        self.sqlite = sqlite3.connect(double.database, timeout=9, isolation_level=None, check_same_thread=False)
        self.depth, self.identity, self.rows, self.nocount = 0, None, 0, double.nocount
        self.handles, self.last_handle = {}, 0

    def close(self):
        self.rollback()
        self.sqlite.close()

    def rollback(self):
        if self.depth:
            self.sqlite.execute("rollback")
            self.depth = 0

    def run(self, sql, values, token):
        """The answer's tokens for a batch. A setting made inside a call ends with it."""
        before = self.nocount
        if "applock" in sql:  # every named lock is free
            sql, values = sql[sql.rindex("; select") + 2:], {**values, "@held": 0}
        try:
            for statement in re.findall(r"(?:'(?:[^']|'')*'|\"[^\"]*\"|[^;'\"])+", sql):
                if statement.strip():
                    self.double.strike(statement, self)
                    yield from self.one(statement.strip(), values, token)
        finally:
            if token == DONE_IN_PROC:
                self.nocount = before

    def one(self, statement, values, token):
        if self.setting(" ".join(statement.lower().split())):
            yield done(token, MORE)
            return
        literals = []

        def masked(literal):
            literals.append(literal[1])
            return f"\0{len(literals) - 1}\0"
        q = re.sub(r"(?:\bN)?('(?:[^']|'')*')", masked, statement)
        q = re.sub(r"(\w+) with \(readpast\)", r"(select * from \1 where OAID not in (select OAID from held where Name='\1'))", q)
        q = re.sub(r"^update top \(1\) (\w+) set (.*?) where (.*)$", r"update \1 set \2 where rowid=(select rowid from \1 where \3 limit 1)", q, flags=re.I | re.S)
        if top := re.match(r"select top \(?(\d+)\)?", q, re.I):
            q = "select" + q[top.end():] + " limit " + top[1]
        q = re.sub(r"cast\s*\(\s*scope_identity\(\)\s*as\s+\w+\s*\)|scope_identity\(\)|@@identity", "@_identity", q, flags=re.I)
        q = re.sub(r"@@rowcount", "@_rows", re.sub(r"@@trancount", "@_depth", q, flags=re.I), flags=re.I)
        q = re.sub("\0(\\d+)\0", lambda m: literals[int(m[1])], q)
        known = {**{k.lstrip("@"): v for k, v in values.items()}, "_identity": self.identity, "_rows": self.rows, "_depth": self.depth}
        try:
            named = re.match(r"(?:select .*? from|delete from|update) (SMS_\w+) (?:set .*? )?where (.*)$", q, re.S)
            if named and "held" not in q:
                held = f"OAID in (select OAID from held where Name='{named[1]}')"
                if self.sqlite.execute(f"select 1 from {named[1]} where {held} and ({named[2]})", known).fetchone():
                    raise SqlError(1222, "Lock request time out period exceeded.")
            cursor = self.sqlite.execute(q, {k: known[k] for k in re.findall(r"@(\w+)", q) if k in known})
            rows = cursor.fetchall() if cursor.description else None
        except sqlite3.Error as e:
            number = 1222 if "locked" in str(e) else 208 if "no such table" in str(e) else 2627 if "UNIQUE" in str(e) else 50000
            raise SqlError(number, str(e)) from None
        if statement[:6].lower() == "insert":
            self.identity = cursor.lastrowid
        self.rows = len(rows) if rows is not None else max(cursor.rowcount, 0)
        if rows is not None:
            names = [d[0] for d in cursor.description]
            kinds = [self.double.kind_of(n, [r[i] for r in rows]) for i, n in enumerate(names)]
            yield b"\x81" + struct.pack("<H", len(names)) + b"".join(
                struct.pack("<IH", 0, 9) + type_info(k) + counted("" if "@" in n or "(" in n else n[:120]) for n, k in zip(names, kinds))
            yield b"".join(b"\xd1" + b"".join(map(encoded, kinds, r)) for r in rows)
        yield done(token, MORE, None if self.nocount else self.rows)

    def setting(self, low):
        """Session settings and transactions; true when the statement was one of them."""
        if m := re.fullmatch(r"set nocount (on|off)", low):
            self.nocount = m[1] == "on"
        elif low.startswith(("set ", "use ")):
            pass
        elif re.fullmatch(r"begin tran(saction)?", low):
            if not self.depth:
                try:
                    self.sqlite.execute("begin immediate")
                except sqlite3.Error as e:
                    raise SqlError(1222, str(e)) from None
            self.depth += 1
        elif re.fullmatch(r"commit( tran(saction)?)?", low):
            if not self.depth:
                raise SqlError(3902, "The COMMIT TRANSACTION request has no corresponding BEGIN TRANSACTION.")
            self.depth -= 1
            if not self.depth:
                self.sqlite.execute("commit")
        elif re.fullmatch(r"if @@trancount ?> ?0 rollback( tran(saction)?)?", low):
            self.rollback()
        elif re.fullmatch(r"rollback( tran(saction)?)?", low):
            if not self.depth:
                raise SqlError(3903, "The ROLLBACK TRANSACTION request has no corresponding BEGIN TRANSACTION.")
            self.rollback()
        elif m := re.fullmatch(r"(save|rollback) tran(?:saction)? (\w+)", low):
            if not self.depth:
                raise SqlError(628, "Cannot issue SAVE TRANSACTION when there is no active transaction.")
            self.sqlite.execute(("savepoint " if m[1] == "save" else "rollback to ") + m[2])
        else:
            return False
        return True

    def call(self, name, parameters):
        """The answer's tokens for a remote call; parameters are (name, type, value)."""
        value = [p[2] for p in parameters]

        def names(declared):
            return re.findall(r"@\w+", declared or "")
        if name in ("sp_prepare", "sp_prepexec"):
            self.last_handle += 1
            self.handles[self.last_handle] = names(value[1]), value[2]
            if name == "sp_prepexec":
                yield from self.run(value[2], dict(zip(names(value[1]), value[3:])), DONE_IN_PROC)
            yield b"\x79" + struct.pack("<i", 0) + b"\xac" + struct.pack("<H", 0) + counted(parameters[0][0]) + b"\x01"
            yield struct.pack("<IH", 0, 0) + b"\x26\x04\x04" + struct.pack("<i", self.last_handle)
            return
        if name == "sp_execute":
            if value[0] not in self.handles:
                raise SqlError(8179, f"Could not find prepared statement with handle {value[0]}.")
            declared, sql = self.handles[value[0]]
            yield from self.run(sql, dict(zip(declared, value[1:])), DONE_IN_PROC)
        elif name == "sp_executesql":
            declared = names(value[1]) if len(value) > 1 else []
            yield from self.run(value[0], dict(zip(declared, value[2:])), DONE_IN_PROC)
        elif name == "sp_unprepare":
            self.handles.pop(value[0], None)
        else:
            raise SqlError(2812, f"Could not find stored procedure '{name}'.")
        yield b"\x79" + struct.pack("<i", 0)


class Line(socketserver.BaseRequestHandler):
    """One connection: packets in, packets out."""

    def exactly(self, n):
        data = b""
        while len(data) < n:
            part = self.request.recv(n - len(data))
            if not part:
                raise EOFError
            data += part
        return data

    def message(self):
        data = b""
        while True:
            kind, status, length = struct.unpack(">BBH", self.exactly(8)[:4])
            data += self.exactly(length - 8)
            if status & 1:
                return kind, data

    def reply(self, data, size=4088):
        for n, at in enumerate(range(0, max(len(data), 1), size), 1):
            part = data[at:at + size]
            self.request.sendall(struct.pack(">BBHHBB", 4, at + size >= len(data), len(part) + 8, 51, n % 256, 0) + part)

    def handle(self):
        session = Session(self.server.double)
        try:
            while True:
                self.answer(session, *self.message())
        except (EOFError, OSError):
            pass
        except Exception:
            self.server.double.log(crash=traceback.format_exc())
            traceback.print_exc()
        finally:
            session.close()

    def answer(self, session, kind, data):
        if kind == 0x12:  # prelogin: version, no encryption
            options = [(0, bytes([15, 0, 8, 0, 0, 0])), (1, b"\x02"), (2, b"\0"), (3, b""), (4, b"\0")]
            head = body = b""
            for number, value in options:
                head += struct.pack(">BHH", number, 5 * len(options) + 1 + len(body), len(value))
                body += value
            self.reply(head + b"\xff" + body)
        elif kind == 0x10:
            self.server.double.log(login=data[:36].hex())
            ack = b"\x01" + struct.pack(">I", 0x74000004) + counted("Microsoft SQL Server") + bytes([15, 0, 8, 0])
            self.reply(change(1, counted("oa"), counted("master")) + change(7, b"\x05" + COLLATION, b"\0") +
                       change(4, counted("4096"), counted("4096")) + b"\xad" + struct.pack("<H", len(ack)) + ack + done(DONE, 0))
        elif kind == 0x01:
            sql = data[struct.unpack("<I", data[:4])[0]:].decode("utf-16-le")
            self.server.double.log(batch=sql)
            self.collect(session.run(sql, {}, DONE), DONE)
        elif kind == 0x03:
            reader = Reader(data)
            reader.take(struct.unpack("<I", data[:4])[0])
            size = reader.number("H")
            name = PROCEDURES.get(reader.number("H"), "?") if size == 0xffff else reader.take(size * 2).decode("utf-16-le").lower()
            reader.number("H")
            parameters = []
            while reader.at < len(data):
                parameter = reader.take(reader.number("B") * 2).decode("utf-16-le")
                reader.number("B")
                parameters.append((parameter, *reader.value()))
            self.server.double.log(rpc=name, params=parameters)
            self.collect(session.call(name, parameters), DONE_PROC)
        elif kind == 0x06:  # attention
            self.reply(done(DONE, 0x20))
        else:
            raise ValueError(f"packet type 0x{kind:02x}")

    def collect(self, tokens, last):
        out, status = b"", 0
        try:
            for token in tokens:
                out += token
        except SqlError as e:
            self.server.double.log(error=e.text, number=e.number)
            out, status = out + error(e), FAILED
        self.reply(out + done(last, status))


class Server(socketserver.ThreadingTCPServer):
    allow_reuse_address = daemon_threads = True


def main():
    port, database, log, *faults = sys.argv[1:]
    with Server(("127.0.0.1", int(port)), Line) as server:
        server.double = Double(database, log, faults)
        print("listens", flush=True)
        server.serve_forever()


if __name__ == "__main__":
    main()
