-- The OA system's tables as far as the SMS server knows them, for the embedded database.
-- The server never creates or alters a table: load this with  sqlite3 FILE < sqlite.sql

create table SMS_WaitToSend (
    OAID integer primary key autoincrement,
    ToSendDT datetime,
    FromUserName text,
    ToUserList text,
    ToNameList text,
    CreateDT datetime,
    MsgType text,
    MsgContent text
);

create table SMS_SendList (
    OAID integer primary key autoincrement,
    FromUser text,
    ToUserList text,
    ToNameList text,
    CreateDT datetime,
    MsgType text,
    MsgContent text
);

create table SMS_Queues (
    OAID integer primary key autoincrement,
    SOAID integer,
    ToUser text,
    ToMB text,
    MsgContent text,
    MsgStatus text,
    MsgType text default '0',
    RetryCount integer
);
create index SMS_Queues_MsgStatus on SMS_Queues (MsgStatus);

create table SMS_ResultDetail (
    OAID integer primary key autoincrement,
    SOAID integer,
    ToUser text,
    ToMB text,
    MsgContent text,
    SendOutDT datetime,
    IsSuccess text
);

create table SMS_SIMReceive (
    OAID integer primary key autoincrement,
    FromMB text,
    JieSHouDT datetime,
    MsgContent text
);

create table SMS_Order (
    OAID integer primary key autoincrement,
    OrderName text,
    OrderCode text,
    DisOrderCode text,
    IsOrder text,
    isPulic text,
    UserList text
);

create table SMS_IsOrder (
    OAID integer primary key autoincrement,
    UserName text,
    Type text,
    IsOrder text
);
create index SMS_IsOrder_UserName on SMS_IsOrder (UserName);

create table SMS_Alert_MaxOAID (
    OAID integer primary key autoincrement,
    UserName text,
    Source text,
    CurrentMaxOAID integer
);
create index SMS_Alert_MaxOAID_UserName on SMS_Alert_MaxOAID (UserName);

create table VO_UserInfor (
    OAID integer primary key autoincrement,
    UserName text,
    Mobile text,
    TureName text,
    AccountState text
);
create index VO_UserInfor_UserName on VO_UserInfor (UserName);
create index VO_UserInfor_Mobile on VO_UserInfor (Mobile);

create table VO_Email (
    VOID integer primary key autoincrement,
    EmailSource text,
    EmailStatus text,
    EmailTo text,
    EmailFrom text,
    EmailFromName text,
    EmailSubject text,
    EmailContent text,
    ImpDegree integer,
    EmailDate datetime,
    EmailToDis text,
    EmailCC text,
    MSGID text,
    EOAID integer
);
create index VO_Email_EOAID on VO_Email (EOAID, MSGID);

create table VO_EmailAttachments (
    OAID integer primary key autoincrement,
    EmailID integer,
    FileName text,
    FileTitle text,
    FileType text,
    FileContent blob
);
create index VO_EmailAttachments_EmailID on VO_EmailAttachments (EmailID);

create table SA_email (
    OAID integer primary key autoincrement,
    UserName text,
    POPIP text,
    PopPort integer,
    EUsername text,
    EPassword text,
    IsBaoLiu text
);
