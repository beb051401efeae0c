#!/usr/bin/env python3
"""Writes the sample mails and expected.json to a folder: make_mails.py FOLDER. The build runs it.

Each mail is put together octet by octet as the mail program named writes it; what a reader should see is
beside it.
"""
import base64
import json
import pathlib
import sys

HERE = pathlib.Path(sys.argv[1])
HERE.mkdir(parents=True, exist_ok=True)
mails = {}


def b64(data):
    return base64.encodebytes(data).replace(b"\n", b"\r\n")


def word(charset, text, encoding="B", label=None):
    data = text.encode(charset) if isinstance(text, str) else text
    label = (label or charset).encode()
    if encoding == "B":
        return b"=?" + label + b"?B?" + base64.b64encode(data) + b"?="
    return b"=?" + label + b"?Q?" + b"".join(b"=%02X" % c for c in data) + b"?="


def mail(name, octets, attachments=(), **expected):
    """octets: LF line ends become CR LF unless raw. expected: fields that differ from those of head()."""
    raw = expected.pop("raw", False)
    fields = dict(subject="测试", contentType="text/plain", body="", html="", fromName="张三", sender="zhang@example.com",
                  priority=3, date="2024-03-05T02:04:06Z", recipients=[[0, "li@example.com"]])
    fields.update(expected)
    fields["attachments"] = [dict(name=n, contentType=t, data=base64.b64encode(d).decode()) for n, t, d in attachments]
    if not raw:
        octets = octets.replace(b"\r\n", b"\n").replace(b"\n", b"\r\n")
    assert name not in mails
    mails[name] = fields
    (HERE / (name + ".eml")).write_bytes(octets)


def head(subject=word("gb2312", "测试"), sender=word("gb2312", "张三") + b" <zhang@example.com>", more=b""):
    return (b"From: " + sender + b"\nTo: li@example.com\nSubject: " + subject +
            b"\nDate: Tue, 5 Mar 2024 10:04:06 +0800\nMIME-Version: 1.0\n" + more)


def plain(charset, transfer=b"8bit"):
    label = b"; charset=" + charset if charset else b""
    return b"Content-Type: text/plain" + label + b"\nContent-Transfer-Encoding: " + transfer + b"\n\n"


def multipart(kind, boundary, *parts):
    return (b'Content-Type: multipart/' + kind + b';\n\tboundary="' + boundary + b'"\n\n' +
            b"".join(b"--" + boundary + b"\n" + p + b"\n" for p in parts) + b"--" + boundary + b"--\n")


def attachment(headers, data):
    return headers + b"Content-Transfer-Encoding: base64\n\n" + b64(data).rstrip()


PNG = b"\x89PNG\r\n\x1a\n" + bytes(range(256))
ZIP = b"PK\x03\x04" + bytes(range(255, -1, -1))

# --- charsets of bodies and subjects ---------------------------------------------------------------------------
mail("outlook-gb2312", head(more=plain(b'"gb2312"', b"base64")) + b64("您好：\r\n会议改在三点。".encode("gb2312")),
     body="您好：\r\n会议改在三点。")
mail("gb2312-label-on-gbk", head(word("gbk", "朱镕基喆", label="gb2312"), more=plain(b"gb2312")) + "镕喆\n".encode("gbk"),
     subject="朱镕基喆", body="镕喆")
mail("gb2312-label-on-gb18030", head(word("gb18030", "㐀𠀀", label="gb2312"), more=plain(b"GB2312")) +
     "生僻字𠮷㐂\n".encode("gb18030"), subject="㐀𠀀", body="生僻字𠮷㐂")
mail("foxmail-gbk-qp", head(word("gbk", "关于“项目”的通知", "Q"), more=plain(b"gbk", b"quoted-printable")) +
     b"=C4=FA=BA=C3=A3=AC=\n=C0=EE=B9=A4=A1=A3\n", subject="关于“项目”的通知", body="您好，李工。")
mail("one-character-that-is-utf-8-too", head(b"=?gb2312?B?xKM=?=", more=plain(b"gb2312")) + b"\xc4\xa3\n",
     subject="模", body="模")
mail("gb18030-label", head(word("gb18030", "测试𠀀"), more=plain(b"gb18030")) + "€𠀀\n".encode("gb18030"),
     subject="测试𠀀", body="€𠀀")
mail("big5-taiwan", head(word("big5", "測試會議"), word("big5", "張三") + b" <zhang@example.com>", plain(b"big5")) +
     "各位同仁許功蓋\n".encode("big5"), subject="測試會議", fromName="張三", body="各位同仁許功蓋")
mail("utf8-base64", head(word("utf-8", "测试😀"), more=plain(b"utf-8", b"base64")) + b64("正文😀\n第二行".encode()),
     subject="测试😀", body="正文😀\n第二行")
mail("unlabelled-gbk-body", b"From: zhang@example.com\nTo: li@example.com\nSubject: old\n\n" + "没有标签的正文\n".encode("gbk"),
     subject="old", fromName="", date="", body="没有标签的正文")
mail("unlabelled-utf8-body", b"From: zhang@example.com\nTo: li@example.com\nSubject: old\n\n" + "没有标签的正文\n".encode(),
     subject="old", fromName="", date="", body="没有标签的正文")
mail("us-ascii-label-on-gbk", head(more=plain(b"us-ascii")) + "其实是中文\n".encode("gbk"), body="其实是中文")
mail("utf8-label-on-gbk", head(more=plain(b"utf-8")) + "其实是国标码，不是\n".encode("gbk"), body="其实是国标码，不是")
mail("gb2312-label-on-utf8", head(more=plain(b"gb2312")) + "其实是万国码\n".encode(), body="其实是万国码")
mail("iso-8859-1-label-on-gbk", head(word("gbk", "中文标题", label="iso-8859-1"), more=plain(b"iso-8859-1")) +
     "网页程序发的中文\n".encode("gbk"), subject="中文标题", body="网页程序发的中文")
mail("utf8-cut-in-a-character", head(more=plain(b"utf-8")) + "正文很长很长很长很长".encode()[:-1], body="正文很长很长很长很\ufffd\ufffd")
mail("iso-8859-1-french", head(word("iso-8859-1", "Réunion à 3 h", "Q"), more=plain(b"iso-8859-1")) +
     "L'été déjà passé, naïve\n".encode("latin1"), subject="Réunion à 3 h", body="L'été déjà passé, naïve")
mail("iso-8859-2-polish", head(word("iso-8859-2", "Zażółć gęślą"), more=plain(b"iso-8859-2", b"8bit")) +
     "jaźń\n".encode("iso-8859-2"), subject="Zażółć gęślą", body="jaźń")
mail("koi8-r-russian", head(word("koi8-r", "Привет"), more=plain(b"koi8-r")) + "Добрый день\n".encode("koi8-r"),
     subject="Привет", body="Добрый день")
mail("shift-jis-japanese", head(word("cp932", "会議①", label="Shift_JIS"), more=plain(b"shift_jis")) +
     "よろしく表示\n".encode("cp932"), subject="会議①", body="よろしく表示")
mail("iso-2022-jp", head(word("iso-2022-jp", "会議"), more=plain(b"ISO-2022-JP", b"7bit")) + "日本語です\n".encode("iso-2022-jp"),
     subject="会議", body="日本語です")
mail("euc-kr-korean", head(word("euc-kr", "회의"), more=plain(b"ks_c_5601-1987")) + "안녕하세요\n".encode("euc-kr"),
     subject="회의", body="안녕하세요")
mail("hz-gb-2312", head(word("hz", "测试", "Q", "HZ-GB-2312"), more=plain(b"hz-gb-2312", b"7bit")) +
     b"mixed ~{VPND~} and ~~ tilde\n", body="mixed 中文 and ~ tilde")
mail("ms936-and-x-gbk", head(word("gbk", "测试", label="x-gbk"), more=plain(b"ms936")) + "喆\n".encode("gbk"), body="喆")
mail("unknown-charset", head(word("gbk", "测试", label="x-unknown"), more=plain(b"x-foo-bar")) + "内容\n".encode("gbk"), body="内容")
mail("utf-16-base64", head(more=plain(b"utf-16", b"base64")) + b64("宽字符".encode("utf-16")), body="宽字符")
mail("utf-7", head(more=plain(b"utf-7", b"7bit")) + b"Hi +Ti1lhw-!\n", body="Hi 中文!")

# --- headers ---------------------------------------------------------------------------------------------------
split = "会议通知".encode("gbk")
mail("gbk-words-cut-in-a-character", head(word("gbk", split[:3]) + b"\n " + word("gbk", split[3:]), more=plain(b"gbk")) + b"x\n",
     subject="会议通知", body="x")
split = "会议通知".encode()
mail("utf8-words-cut-in-a-character", head(word("utf-8", split[:4]) + b"\n\t" + word("UTF-8", split[4:], "Q"),
                                           more=plain(b"utf-8")) + b"x\n", subject="会议通知", body="x")
mail("raw-gbk-headers", head("原始标题誠".encode("gbk"), "\"張乗,經理\" <zhang@example.com>".encode("gbk"), plain(b"")) + b"x\n",
     subject="原始标题誠", fromName="張乗,經理", body="x")
mail("raw-headers-in-the-charset-of-the-text", head("測試".encode("big5"), "許三 <zhang@example.com>".encode("big5"), multipart(
    b"mixed", b"b", plain(b"big5") + b"x", attachment("Content-Type: a/b; name=許.zip\n".encode("big5"), ZIP))),
     subject="測試", fromName="許三", contentType="multipart/mixed", body="x", attachments=[("許.zip", "a/b", ZIP)])
mail("raw-utf8-headers", head("原始标题".encode(), "张三 <zhang@example.com>".encode(), plain(b"")) + b"x\n", subject="原始标题",
     body="x")
mail("words-beside-text", head(b"Re: " + word("gb2312", "回复") + b" (" + word("utf-8", "你好") + b") =?broken", more=plain(b"")) +
     b"x\n", subject="Re: 回复 (你好) =?broken", body="x")
mail("q-word-with-blanks", head(b"=?utf-8?Q?a b=20=E4=BD=A0?=", more=plain(b"")) + b"x\n", subject="a b 你", body="x")
mail("name-in-quotes", head(sender=b'"' + word("gb2312", "李,四") + b'" <li4@example.com>', more=plain(b"")) + b"x\n",
     fromName="李,四", sender="li4@example.com", body="x")
mail("blanks-around-subject", head(b" Hi ", more=plain(b"")) + b"x\n", subject=" Hi ", body="x")
mail("line-end-in-subject-word", head(word("utf-8", "a\r\nBcc: x@y\0b"), more=plain(b"")) + b"x\n",
     subject="a  Bcc: x@y\ufffdb", body="x")
mail("no-subject-no-from", b"To: li@example.com\n\nx\n", subject="", fromName="", sender="", date="", body="x")
mail("sender-only", b"Sender: boss@example.com\nTo: li@example.com\n\nx\n", subject="", fromName="", sender="boss@example.com",
     date="", body="x")
mail("recipients-in-order", b"From: a@b.cn\nTo: a@x.cn\nCC: " + word("gbk", "乙") + b" <b@x.cn>\nto: c@x.cn,\n d@x.cn\n"
     b"Bcc: e@x.cn\nSubject: r\n\nx\n", subject="r", fromName="", sender="a@b.cn", date="", body="x",
     recipients=[[0, "a@x.cn"], [1, "b@x.cn"], [0, "c@x.cn"], [0, "d@x.cn"], [2, "e@x.cn"]])
mail("groups-and-chinese-addresses", "From: a@b.cn\nTo: 全体: 张三@例子.公司, \"b, c\" <b@x.cn>;, d@x.cn (comment)\n"
     "Cc: undisclosed-recipients:;\n\nx\n".encode(), subject="", fromName="", sender="a@b.cn", date="", body="x",
     recipients=[[0, "张三@例子.公司"], [0, "b@x.cn"], [0, "d@x.cn"]])
mail("outlook-high-priority", head(more=b"X-Priority: 1 (Highest)\nX-MSMail-Priority: High\n" + plain(b"")) + b"x\n", priority=1, body="x")
mail("importance-low", head(more=b"X-Priority: none\nImportance: Low\n" + plain(b"")) + b"x\n", priority=5, body="x")
mail("priority-out-of-range", head(more=b"X-Priority: 12\n" + plain(b"")) + b"x\n", body="x")
mail("unreadable-date", b"From: a@b.cn\nTo: li@example.com\nSubject: d\nDate: yesterday\n\nx\n", subject="d", fromName="",
     sender="a@b.cn", date="", body="x")
mail("date-with-comment-and-zone", b"From: a@b.cn\nTo: li@example.com\nSubject: d\nDate: Mon, 1 Jan 2024 00:30:00 -0500 (EST)\n\nx\n",
     subject="d", fromName="", sender="a@b.cn", date="2024-01-01T05:30:00Z", body="x")
mail("letter-case-of-type", head(more=b"Content-Type: Text/Plain; charset=gbk\n\n") + b"x\n", contentType="Text/Plain", body="x")
mail("type-with-comment", head(more=b"Content-Type: TEXT/html (comment); charset=\"utf-8\"\n\n") + b"<p>x\n",
     contentType="TEXT/html", html="<p>x")

# --- structures ------------------------------------------------------------------------------------------------
ALT = multipart(b"alternative", b"=_alt", plain(b"gb2312", b"base64") + b64("纯文本".encode("gbk")).rstrip(),
                b"Content-Type: text/html; charset=gb2312\nContent-Transfer-Encoding: quoted-printable\n\n<b>=B4=F3</b>")
mail("qq-alternative", head(more=ALT), contentType="multipart/alternative", body="纯文本", html="<b>大</b>")
mail("html-only-meta-charset", head(more=b"Content-Type: text/html\n\n") +
     '<html><head><meta http-equiv="Content-Type" content="text/html; charset=big5"></head>許功蓋\n'.encode("big5"),
     contentType="text/html",
     html='<html><head><meta http-equiv="Content-Type" content="text/html; charset=big5"></head>許功蓋')
mail("names-rfc2231-and-rfc2047", head(more=multipart(
    b"mixed", b"b", plain(b"gbk") + "见附件".encode("gbk"),
    attachment(b"Content-Type: application/octet-stream\nContent-Disposition: attachment;\n filename*=gb2312''" +
               b"".join(b"%%%02X" % c for c in "报告.doc".encode("gbk")) + b"\n", b"one"),
    attachment(b"Content-Type: application/pdf; name=\"" + word("gb2312", "合同.pdf") + b"\"\nContent-Disposition: attachment; filename=\"" +
               word("gb2312", "合同.pdf") + b"\"\n", b"two"),
    attachment(b"Content-Type: image/png; name=" + word("utf-8", "图片.png") + b"\n", PNG))), contentType="multipart/mixed", body="见附件",
     attachments=[("报告.doc", "application/octet-stream", b"one"), ("合同.pdf", "application/pdf", b"two"), ("图片.png", "image/png", PNG)])
name = "很长的文件名.xls".encode()
pct = [b"".join(b"%%%02X" % c for c in piece) for piece in (name[:7], name[7:])]
long = "季度报告汇总表.xls".encode("gbk")
mail("names-continued-and-cut", head(more=multipart(
    b"mixed", b"b", plain(b""),
    attachment(b"Content-Type: application/vnd.ms-excel\nContent-Disposition: attachment;\n filename*0*=utf-8''" + pct[0] +
               b";\n filename*1*=" + pct[1] + b"\n", b"1"),
    attachment(b"Content-Type: application/vnd.ms-excel;\n name=\"" + word("gb2312", long[:5]) + b"\n\t" + word("gb2312", long[5:]) +
               b"\"\nContent-Disposition: attachment\n", b"2"))), contentType="multipart/mixed",
     attachments=[("很长的文件名.xls", "application/vnd.ms-excel", b"1"), ("季度报告汇总表.xls", "application/vnd.ms-excel", b"2")])
mail("names-raw-gbk", head(more=multipart(
    b"mixed", b"b", plain(b""),
    attachment("Content-Type: application/zip\nContent-Disposition: attachment; filename=\"乗誠.zip\"\n".encode("gbk"), ZIP),
    attachment("Content-Type: application/zip; name=报告.zip\n".encode("gbk"), ZIP))), contentType="multipart/mixed",
     attachments=[("乗誠.zip", "application/zip", ZIP), ("报告.zip", "application/zip", ZIP)])
mail("names-badly-quoted", head(more=multipart(
    b"mixed", b"b", plain(b""),
    attachment(b"Content-Type: application/zip\nContent-Disposition: attachment; filename=my first report.zip\n", b"1"),
    attachment(b"Content-Type: application/zip\nContent-Disposition: attachment; filename=\"no end.zip\n", b"2"),
    attachment(b"Content-Type: application/zip\nContent-Disposition: attachment; filename='single.zip'\n", b"3"))),
     contentType="multipart/mixed", attachments=[("my first report.zip", "application/zip", b"1"), ("no end.zip", "application/zip", b"2"),
                                                 ("single.zip", "application/zip", b"3")])
mail("names-with-paths", head(more=multipart(
    b"mixed", b"b", plain(b""),
    attachment(b"Content-Type: application/x-msdownload\nContent-Disposition: attachment; filename=\"..\\\\..\\\\windows\\\\evil.exe\"\n", b"1"),
    attachment(b"Content-Type: text/plain; name=\"/etc/pass\twd .txt. \"\n", b"2"),
    attachment(b"Content-Type: application/pdf\nContent-Disposition: attachment; filename*=utf-8''ab%E2%80%AEfdp.exe%0D%0A\n", b"3"))),
     contentType="multipart/mixed", attachments=[("evil.exe", "application/x-msdownload", b"1"), ("pass wd .txt", "text/plain", b"2"),
                                                 ("abfdp.exe", "application/pdf", b"3")])
INNER = (b"From: inner@example.com\nSubject: " + word("gb2312", "原信") + b"\nContent-Type: text/plain; charset=gbk\n\n" +
         "内文".encode("gbk")).replace(b"\n", b"\r\n")
mail("parts-without-names", head(more=multipart(
    b"mixed", b"b", plain(b"") + b"x", attachment(b"Content-Type: application/pdf\nContent-Disposition: attachment\n", b"1"),
    attachment(b"Content-Type: IMAGE/jpeg\n", b"2"), attachment(b"Content-Type: application/x-strange\n", b"3"),
    b"Content-Type: message/rfc822\n\n" + INNER, b"Content-Type: message/rfc822\n\nFrom: a@b.cn\n\ny")),
     contentType="multipart/mixed", body="x",
     attachments=[("attachment1.pdf", "application/pdf", b"1"), ("attachment2.jpg", "IMAGE/jpeg", b"2"),
                  ("attachment3.bin", "application/x-strange", b"3"), ("原信.eml", "message/rfc822", INNER),
                  ("attachment5.eml", "message/rfc822", b"From: a@b.cn\r\n\r\ny")])
mail("inline-pictures", head(more=multipart(
    b"related", b"r", b"Content-Type: text/html; name=m.htm; charset=gb2312\n\n<img src=\"cid:1@x\">",
    attachment(b"Content-Type: image/png\nContent-ID: <1@x>\nContent-Disposition: inline\n", PNG))), contentType="multipart/related",
     html="<img src=\"cid:1@x\">", attachments=[("attachment1.png", "image/png", PNG)])
mail("nested-multiparts", head(more=multipart(
    b"mixed", b"m", multipart(b"related", b"r", ALT, attachment(b"Content-Type: image/png; name=a.png\n", PNG)),
    attachment(b"Content-Type: application/zip; name=b.zip\n", ZIP))), contentType="multipart/mixed", body="纯文本", html="<b>大</b>",
     attachments=[("a.png", "image/png", PNG), ("b.zip", "application/zip", ZIP)])
mail("text-attachment-before-body", head(more=multipart(
    b"mixed", b"m", b"Content-Type: text/plain; charset=gbk\nContent-Disposition: attachment; filename=log.txt\n\n" + "日志".encode("gbk"),
    plain(b"gbk") + "正文".encode("gbk"), plain(b"us-ascii") + b"footer")), contentType="multipart/mixed", body="正文",
     attachments=[("log.txt", "text/plain", "日志".encode("gbk")), ("attachment2.txt", "text/plain", b"footer")])
mail("pdf-as-whole-message", head(more=attachment(b"Content-Type: application/pdf; name=\"scan.pdf\"\n", b"%PDF")),
     contentType="application/pdf", attachments=[("scan.pdf", "application/pdf", b"%PDF")])
mail("named-body", head(more=b"Content-Type: text/plain; name=\"mail.txt\"; charset=gbk\n\n") + "正文\n".encode("gbk"), body="正文")
mail("calendar-invitation", head(more=multipart(b"alternative", b"a", plain(b"") + b"come", b"Content-Type: text/html\n\n<p>come",
                                                b"Content-Type: text/calendar; method=REQUEST\n\nBEGIN:VCALENDAR")),
     contentType="multipart/alternative", body="come", html="<p>come", attachments=[("attachment1.ics", "text/calendar", b"BEGIN:VCALENDAR")])
mail("delivery-report", head(more=multipart(
    b"report", b"d", plain(b"") + b"failed", b"Content-Type: message/delivery-status\n\nReporting-MTA: dns; x",
    b"Content-Type: text/rfc822-headers\n\nSubject: y")), contentType="multipart/report", body="failed",
     attachments=[("attachment1.txt", "message/delivery-status", b"Reporting-MTA: dns; x"),
                  ("attachment2.txt", "text/rfc822-headers", b"Subject: y")])
mail("uuencoded-part", head(more=multipart(
    b"mixed", b"u", plain(b"") + b"x", b"Content-Type: application/octet-stream; name=cat.txt\nContent-Transfer-Encoding: x-uuencode\n\n"
    b"begin 644 cat.txt\n#0V%T\n`\nend")), contentType="multipart/mixed", body="x",
     attachments=[("cat.txt", "application/octet-stream", b"Cat")])

# --- damage ----------------------------------------------------------------------------------------------------
mail("bare-line-feeds", (head(more=multipart(b"mixed", b"m", plain(b"gbk") + "一\n二".encode("gbk"),
                                            attachment(b"Content-Type: application/zip; name=b.zip\n", ZIP)))).replace(b"\r\n", b"\n"),
     raw=True, contentType="multipart/mixed", body="一\n二", attachments=[("b.zip", "application/zip", ZIP)])
mail("nul-octets", head(b"a\0b", more=plain(b"gbk")) + b"c\0d\n", subject="a b", body="c\ufffdd")
mail("boundary-never-occurs", head(more=b"Content-Type: multipart/mixed; boundary=gone\n\njust text\n--other\nmore\n"),
     contentType="multipart/mixed", body="just text\r\n--other\r\nmore")
mail("boundary-is-not-named", head(more=b"Content-Type: multipart/mixed\n\n--b\n" + plain(b"") + b"x\n--b\n"
     b"Content-Type: multipart/related; boundary=b\n\n--b\nContent-Type: text/html; charset=iso-8859-2 (Polish)\n\n\xb1\n--b--\n"),
     contentType="multipart/mixed", body="x", html="ą")
mail("cut-inside-an-attachment", head(more=b"Content-Type: multipart/mixed; boundary=m\n\n--m\n" + plain(b"") +
     b"x\n--m\nContent-Type: application/zip; name=b.zip\nContent-Transfer-Encoding: base64\n\nUEsDBA"),
     contentType="multipart/mixed", body="x", attachments=[("b.zip", "application/zip", b"PK\x03\x04")])
mail("cut-inside-the-header", b"From: a@b.cn\nTo: li@exam", subject="", fromName="", sender="a@b.cn", date="", recipients=[[0, "li@exam"]])
mail("base64-label-on-text", head(more=plain(b"gbk", b"base64")) + "这不是编码, it is plain text.\n".encode("gbk"),
     body="这不是编码, it is plain text.\r\n")
mail("broken-quoted-printable", head(more=plain(b"utf-8", b"quoted-printable")) + b"a=ZZ=4\n=E4= \t\n=BD=A0 100=\n",
     body="a=ZZ=4\r\n你 100")
mail("unknown-transfer-encoding", head(more=plain(b"gbk", b"x-zip")) + "原样\n".encode("gbk"), body="原样")
mail("headerless", b"no header at all\nsecond line\n", subject="", fromName="", sender="", date="", recipients=[],
     body="no header at all\r\nsecond line")
mail("empty", b"", subject="", fromName="", sender="", date="", recipients=[])
mail("blank-lines-in-front", b"\n\n" + head(more=plain(b"gbk")) + "正文\n".encode("gbk"), body="正文")
mail("mbox-separator-in-front", b"From zhang@example.com Tue Mar  5 10:04:06 2024\n" + head(more=plain(b"gbk")) + b"x\n", body="x")

mail("base64-with-footer", head(more=plain(b"gbk", b"base64")) + b64("正文\r\n".encode("gbk")) + b"\n--\nA mailing list\n",
     body="正文\r\n--\r\nA mailing list\r\n")
mail("base64-with-stray-octets", head(more=plain(b"gbk", b"base64")) + b"1f3O*xM/7wcu\n6xw==!\n", body="正文消了呵")
mail("base64-of-files-in-a-bad-state", head(more=multipart(b"mixed", b"b", *(
    b"Content-Type: application/zip; name=b.zip\nContent-Transfer-Encoding: base64\n\n" + octets
    for octets in (b"UEsD BA==", b"(file:)\nUEsD\n--\nBA==", b"\xff\xfe")))), contentType="multipart/mixed",
     attachments=[("b.zip", "application/zip", octets) for octets in (b"PK\x03\x04", b"PK\x03\x04", b"\xff\xfe")])
mail("type-without-subtype", head(more=b"Content-Type: text; charset=gbk\n\n") + "正文\n".encode("gbk"), body="正文")
mail("first-of-two-types", head(more=b"Content-Type: text/plain; charset=gbk\nContent-Type: application/pdf; name=a.pdf\n\n") +
     "正文\n".encode("gbk"), body="正文")
mail("no-blank-line-behind-header", head(more=b"") + "正文 begins here\nsecond: line\n\nend\n".encode(),
     body="正文 begins here\r\nsecond: line\r\n\r\nend")
mail("uuencode-inside-text", head(more=plain(b"")) + b"see\nbegin 644 D:\\x\\cat.txt\n$0V%T(\n#0V%T\n`\nend\nbegin 644 words\nonly\n",
     body="see\r\nbegin 644 words\r\nonly", attachments=[("cat.txt", "application/octet-stream", b"Cat Cat")])
SIGNED = b"subject:  odd \r\n\tfolding\r\nX: 1\nContent-Type: multipart/signed; boundary=s\r\n\r\n--s\r\n\r\n\xff \r\n--s--\r\n\r\n"
mail("attached-message-is-its-source", head(more=multipart(b"mixed", b"b", plain(b"") + b"x", b"Content-Type: message/rfc822\n\n@"))
     .replace(b"\n", b"\r\n").replace(b"@\r", SIGNED + b"\r"), raw=True, contentType="multipart/mixed", body="x",
     attachments=[("odd  folding.eml", "message/rfc822", SIGNED)])
mail("name-before-bare-address", head(sender="系统通知 notice@x.cn".encode(), more=plain(b"")) + b"x\n", fromName="系统通知",
     sender="notice@x.cn", body="x")
mail("name-and-address-in-one-word", head(sender=word("gbk", "张三 <zhang@example.com>"), more=plain(b"")) + b"x\n", body="x")
mail("comma-in-a-name", head(sender=b"Doe, John <j@x>", more=plain(b"")) + b"x\n", fromName="Doe, John", sender="j@x", body="x")
mail("names-in-pieces-and-paths", head(more=multipart(
    b"mixed", b"b", plain(b""),
    attachment(b"Content-Type: application/zip\nContent-Disposition: attachment; filename*1*=%E5%91%8A; size=1; filename*2=\".doc\";"
               b"\n filename*0*=utf-8''%E6%8A%A5\n", b"1"),
    attachment(b"Content-Type: application/zip; name=\"a \\\"b\\\".zip\"\n", b"2"),
    attachment(b"Content-Type: application/zip\nContent-Disposition: attachment; filename=\"D:\\docs\\a.doc\"\n", b"3"),
    attachment(b"Content-Type: application/zip; name=" + b"n" * 300 + b".tar.zip\n", b"4"),
    attachment(b"Content-Disposition: filename*0=\"=?utf-8?B?5oql\";\n filename*1=\"5ZGKLmRvYw==?=\"\nContent-Type: a/b\n", b"5"))),
     contentType="multipart/mixed",
     attachments=[("报告.doc", "application/zip", b"1"), ("a b.zip", "application/zip", b"2"), ("a.doc", "application/zip", b"3"),
                  ("n" * 196 + ".zip", "application/zip", b"4"), ("报告.doc", "a/b", b"5")])


for name, octets, label, text in (
        ("gbk-ends-in-mid-character", b"\xD6\xD0\xCE", b"gbk", "中\ufffd"),
        ("utf-8-with-one-octet-lost", b"\xE4\xB8\xAD\xE6\x96\x87\xE4\xB8\xE6\x96\x87", b"utf-8", "中文\ufffd\ufffd文"),
        ("overlong-utf-8-is-gbk", b"\xC1\xAA\xCD\xA8", b"", "联通"),
        ("gbk-that-is-valid-utf-8", b"\xC4\xA3\xC8\xB7", b"", "模确"),
        ("gbk-with-octets-that-utf-8-could-have-lost", b"\xD6\xEC\xC7\xA7\xC4\xAF", b"", "朱千寞"),
        ("western-and-greek-letters-stay", b"Jos\xC3\xA9 \xCE\xB1\xCE\xB2", b"", "José αβ"),
        ("big5-with-hong-kong", b"\xAD\xBB\xB4\xE4\x9D\xEF\xA4\x48\x9D\xF6\xAB\xD7", b"big5", "香港嘅人喺度"),
        ("big5-with-rare-characters", b"\xBB\x4F\xC6\x57\xC4\xB3\xC2\x49\xC9\xA1", b"big5", "臺灣議點氶"),
        ("euc-jp-with-nec-row", b"\xB3\xF4\xBC\xB0\xAD\xA1\xAD\xEA", b"EUC-JP", "株式①㈱"),
        ("iso-2022-jp-with-nec-row", b"\x1b$B-!F|K\\\x1b(B x", b"iso-2022-jp", "①日本 x"),
        ("utf-8-with-latin-signs", b"\xE4\xB8\xAD\xC2\xB7\xE6\x96\x87\xC3\x97\xC2\xB0", b"gb2312", "中·文×°"),
        ("one-bad-octet-in-a-long-text", b"\xA7\x41\xA6\x6E" * 20 + b"\xFF", b"big5", "你好" * 20 + "\ufffd"),
        ("unpaired-surrogate", b"\xD8\x00\x4E\x2D", b"utf-16be", "?中"),
        ("hostile-label", b"abc", b'"../../etc//IGNORE"', "abc")):
    mail("charset-" + name, head(more=plain(label)) + octets + b"\n", body=text)

LONG = "n" * 196 + ".doc"
NAMES = (("报告 1.doc", "报告 1.doc"), ("../../x", "x"), ("C:\\a\\b.txt", "b.txt"), ("'a.txt'\u0001 ", "a.txt"), ("a/", "attachment5.bin"),
         ("...", "attachment6.bin"), ("a.txt:evil", "a.txtevil"), ("a\u202efdp.exe", "afdp.exe"), (LONG, LONG), ("n" + LONG, LONG),
         ("n" * 195 + "😀b.doc", "n" * 195 + ".doc"))
mail("names-that-are-unfit", head(more=multipart(b"mixed", b"b", *(
    attachment(b"Content-Type: application/x\nContent-Disposition: attachment; filename*=utf-8''" +
               b"".join(b"%%%02X" % c for c in given.encode()) + b"\n", b"1") for given, safe in NAMES))),
     contentType="multipart/mixed", attachments=[(safe, "application/x", b"1") for given, safe in NAMES])

DATED = b"From: a@b.cn\nTo: li@example.com\nSubject: d\nDate: %s\n\nx\n"
for number, (date, utc) in enumerate((
        (b"5 Mar 2024 10:00 GMT+08:00", "2024-03-05T02:00:00Z"), (b"5-Mar-24 10:04:60 EST", "2024-03-05T15:04:59Z"),
        (b"Tue Mar  5 10:04:06 CST 2024", "2024-03-05T16:04:06Z"), (b"2024-03-05T10:04:06.5+08:00", "2024-03-05T02:04:06Z"),
        (b"2024/3/5 10:04 PM +0800", "2024-03-05T14:04:00Z"), (b"5 Mar 2024 12:04:06 am Z", "2024-03-05T00:04:06Z"),
        (b"Tue (a (b)),5 March 124 1:4:6+0800", "2024-03-04T17:04:06Z"), (b"Tue, 5 Mar 99999 10:04:06 +0800", ""),
        (b"Tue, 31 Feb 2024 10:04:06 +0800", ""), (b"Tue, 5 Mar 1601 10:04:06 +0000", ""))):
    mail("date-%d" % number, DATED % date, subject="d", fromName="", sender="a@b.cn", date=utc, body="x")

mail("subject-tells-what-the-name-is", b"From: \xC4\xA3 <a@b>\nSubject: \xD6\xD0\xCE\xC4\n\nx", subject="中文", fromName="模",
     sender="a@b", date="", recipients=[], body="x")
mail("comment-in-an-angle-address", head(sender=b"A <a(at work)@b>", more=plain(b"")) + b"x\n", fromName="A", sender="a@b", body="x")
mail("alternative-with-html-only", head(more=multipart(
    b"alternative", b"b", b"Content-Type: text/html\n\n<style>p{}</style><p>1 &lt; 2&#33;</p>\n<!-- x --><b>y</b>")),
     contentType="multipart/alternative", body="1 < 2!\r\ny", html="<style>p{}</style><p>1 &lt; 2&#33;</p>\r\n<!-- x --><b>y</b>")
mail("digest", head(more=multipart(b"digest", b"b", b"\nSubject: s\n\nx")), contentType="multipart/digest",
     attachments=[("s.eml", "message/rfc822", b"Subject: s\r\n\r\nx")])
mail("no-blank-line-before-the-boundary", head(more=b"Content-Type: multipart/mixed; boundary=b\n--b\n" + plain(b"") + b"x\n--b--\n"),
     contentType="multipart/mixed", body="x")

rows = (json.dumps(name) + ": " + json.dumps(mails[name], ensure_ascii=False, sort_keys=True) for name in sorted(mails))
(HERE / "expected.json").write_text("{\n" + ",\n".join(rows) + "\n}\n", encoding="utf-8")
