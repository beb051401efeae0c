-- The OA system's tables as far as the SMS server knows them, for MariaDB and MySQL.
-- The server never creates or alters a table: load this with  mariadb DATABASE < mariadb.sql

create table SMS_WaitToSend (
    OAID integer auto_increment primary key,
    ToSendDT datetime,
    FromUserName varchar(100),
    ToUserList longtext,
    ToNameList longtext,
    CreateDT datetime,
    MsgType varchar(10),
    MsgContent longtext
) engine=InnoDB default charset=utf8mb4;

create table SMS_SendList (
    OAID integer auto_increment primary key,
    FromUser varchar(100),
    ToUserList longtext,
    ToNameList longtext,
    CreateDT datetime,
    MsgType varchar(10),
    MsgContent longtext
) engine=InnoDB default charset=utf8mb4;

create table SMS_Queues (
    OAID integer auto_increment primary key,
    SOAID integer,
    ToUser varchar(100),
    ToMB varchar(100),
    MsgContent longtext,
    MsgStatus varchar(10),
    MsgType varchar(10) default '0',
    RetryCount integer
) engine=InnoDB default charset=utf8mb4;
create index SMS_Queues_MsgStatus on SMS_Queues (MsgStatus);

create table SMS_ResultDetail (
    OAID integer auto_increment primary key,
    SOAID integer,
    ToUser varchar(100),
    ToMB varchar(100),
    MsgContent longtext,
    SendOutDT datetime,
    IsSuccess varchar(10)
) engine=InnoDB default charset=utf8mb4;

create table SMS_SIMReceive (
    OAID integer auto_increment primary key,
    FromMB varchar(100),
    JieSHouDT datetime,
    MsgContent longtext
) engine=InnoDB default charset=utf8mb4;

create table SMS_Order (
    OAID integer auto_increment primary key,
    OrderName varchar(100),
    OrderCode varchar(100),
    DisOrderCode varchar(100),
    IsOrder varchar(10),
    isPulic varchar(10),
    UserList longtext
) engine=InnoDB default charset=utf8mb4;

create table SMS_IsOrder (
    OAID integer auto_increment primary key,
    UserName varchar(100),
    Type varchar(100),
    IsOrder varchar(10)
) engine=InnoDB default charset=utf8mb4;
create index SMS_IsOrder_UserName on SMS_IsOrder (UserName);

create table SMS_Alert_MaxOAID (
    OAID integer auto_increment primary key,
    UserName varchar(100),
    Source varchar(100),
    CurrentMaxOAID integer
) engine=InnoDB default charset=utf8mb4;
create index SMS_Alert_MaxOAID_UserName on SMS_Alert_MaxOAID (UserName);

create table VO_UserInfor (
    OAID integer auto_increment primary key,
    UserName varchar(100),
    Mobile varchar(100),
    TureName varchar(100),
    AccountState varchar(10)
) engine=InnoDB default charset=utf8mb4;
create index VO_UserInfor_UserName on VO_UserInfor (UserName);
create index VO_UserInfor_Mobile on VO_UserInfor (Mobile);

create table VO_Email (
    VOID integer auto_increment primary key,
    EmailSource varchar(10),
    EmailStatus varchar(10),
    EmailTo longtext,
    EmailFrom varchar(1000),
    EmailFromName varchar(1000),
    EmailSubject longtext,
    EmailContent longtext,
    ImpDegree integer,
    EmailDate datetime,
    EmailToDis longtext,
    EmailCC longtext,
    MSGID varchar(255),
    EOAID integer
) engine=InnoDB default charset=utf8mb4;
create index VO_Email_EOAID on VO_Email (EOAID, MSGID);

create table VO_EmailAttachments (
    OAID integer auto_increment primary key,
    EmailID integer,
    FileName varchar(1000),
    FileTitle varchar(1000),
    FileType varchar(1000),
    FileContent longblob
) engine=InnoDB default charset=utf8mb4;
create index VO_EmailAttachments_EmailID on VO_EmailAttachments (EmailID);

create table SA_email (
    OAID integer auto_increment primary key,
    UserName varchar(100),
    POPIP varchar(1000),
    PopPort integer,
    EUsername varchar(1000),
    EPassword varchar(1000),
    IsBaoLiu varchar(10)
) engine=InnoDB default charset=utf8mb4;
