-- The OA system's tables as far as the SMS server knows them, for SQL Server.
-- The server never creates or alters a table: load this with  sqlcmd -d DATABASE -i sqlserver.sql
-- For demo/data.sql the database needs a Chinese or a UTF-8 collation (sqlcmd -f 65001), as its literals are plain ones.

create table SMS_WaitToSend (
    OAID int identity(1,1) primary key,
    ToSendDT datetime,
    FromUserName nvarchar(100),
    ToUserList nvarchar(max),
    ToNameList nvarchar(max),
    CreateDT datetime,
    MsgType nvarchar(10),
    MsgContent nvarchar(max)
);

create table SMS_SendList (
    OAID int identity(1,1) primary key,
    FromUser nvarchar(100),
    ToUserList nvarchar(max),
    ToNameList nvarchar(max),
    CreateDT datetime,
    MsgType nvarchar(10),
    MsgContent nvarchar(max)
);

create table SMS_Queues (
    OAID int identity(1,1) primary key,
    SOAID int,
    ToUser nvarchar(100),
    ToMB nvarchar(100),
    MsgContent nvarchar(max),
    MsgStatus nvarchar(10),
    MsgType nvarchar(10) default '0',
    RetryCount int
);
create index SMS_Queues_MsgStatus on SMS_Queues (MsgStatus);

create table SMS_ResultDetail (
    OAID int identity(1,1) primary key,
    SOAID int,
    ToUser nvarchar(100),
    ToMB nvarchar(100),
    MsgContent nvarchar(max),
    SendOutDT datetime,
    IsSuccess nvarchar(10)
);

create table SMS_SIMReceive (
    OAID int identity(1,1) primary key,
    FromMB nvarchar(100),
    JieSHouDT datetime,
    MsgContent nvarchar(max)
);

create table SMS_Order (
    OAID int identity(1,1) primary key,
    OrderName nvarchar(100),
    OrderCode nvarchar(100),
    DisOrderCode nvarchar(100),
    IsOrder nvarchar(10),
    isPulic nvarchar(10),
    UserList nvarchar(max)
);

create table SMS_IsOrder (
    OAID int identity(1,1) primary key,
    UserName nvarchar(100),
    Type nvarchar(100),
    IsOrder nvarchar(10)
);
create index SMS_IsOrder_UserName on SMS_IsOrder (UserName);

create table SMS_Alert_MaxOAID (
    OAID int identity(1,1) primary key,
    UserName nvarchar(100),
    Source nvarchar(100),
    CurrentMaxOAID int
);
create index SMS_Alert_MaxOAID_UserName on SMS_Alert_MaxOAID (UserName);

create table VO_UserInfor (
    OAID int identity(1,1) primary key,
    UserName nvarchar(100),
    Mobile nvarchar(100),
    TureName nvarchar(100),
    AccountState nvarchar(10)
);
create index VO_UserInfor_UserName on VO_UserInfor (UserName);
create index VO_UserInfor_Mobile on VO_UserInfor (Mobile);

create table VO_Email (
    VOID int identity(1,1) primary key,
    EmailSource nvarchar(10),
    EmailStatus nvarchar(10),
    EmailTo nvarchar(max),
    EmailFrom nvarchar(1000),
    EmailFromName nvarchar(1000),
    EmailSubject nvarchar(max),
    EmailContent nvarchar(max),
    ImpDegree int,
    EmailDate datetime,
    EmailToDis nvarchar(max),
    EmailCC nvarchar(max),
    MSGID nvarchar(255),
    EOAID int
);
create index VO_Email_EOAID on VO_Email (EOAID, MSGID);

create table VO_EmailAttachments (
    OAID int identity(1,1) primary key,
    EmailID int,
    FileName nvarchar(1000),
    FileTitle nvarchar(1000),
    FileType nvarchar(1000),
    FileContent varbinary(max)
);
create index VO_EmailAttachments_EmailID on VO_EmailAttachments (EmailID);

create table SA_email (
    OAID int identity(1,1) primary key,
    UserName nvarchar(100),
    POPIP nvarchar(1000),
    PopPort int,
    EUsername nvarchar(1000),
    EPassword nvarchar(1000),
    IsBaoLiu nvarchar(10)
);
