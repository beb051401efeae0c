#include "foundation/OfficeTables.h"

using namespace Qt::StringLiterals;

QList<OfficeTable> officeTables()
{
    using Table = OfficeTable;
    const auto columns = [](const QString &text) { return text.split(u' '); };
    return {
        {.name = u"SMS_WaitToSend"_s,
         .columns =
             columns(u"OAID ToSendDT FromUserName ToUserList ToNameList CreateDT MsgType MsgContent"_s),
         .uses = Table::DeletedFrom},
        {.name = u"SMS_SendList"_s,
         .columns = columns(u"OAID FromUser ToUserList ToNameList CreateDT MsgType MsgContent"_s),
         .key = u"OAID"_s,
         .uses = Table::NeedsIdentity,
         .inserted = columns(u"FromUser ToUserList ToNameList CreateDT MsgType MsgContent"_s)},
        {.name = u"SMS_Queues"_s,
         .columns = columns(u"OAID SOAID ToUser ToMB MsgContent MsgStatus MsgType RetryCount"_s),
         .uses = Table::DeletedFrom,
         .compared = {u"MsgStatus"_s},
         .updated = {u"MsgStatus"_s},
         .inserted = columns(u"SOAID ToUser ToMB MsgContent MsgStatus MsgType RetryCount"_s)},
        {.name = u"SMS_ResultDetail"_s,
         .columns = columns(u"OAID SOAID ToUser ToMB MsgContent SendOutDT IsSuccess"_s),
         .inserted = columns(u"SOAID ToUser ToMB MsgContent SendOutDT IsSuccess"_s)},
        {.name = u"SMS_SIMReceive"_s,
         .columns = columns(u"OAID FromMB JieSHouDT MsgContent"_s),
         .inserted = columns(u"FromMB JieSHouDT MsgContent"_s)},
        {.name = u"SMS_Order"_s,
         .columns = columns(u"OrderName OrderCode DisOrderCode IsOrder isPulic UserList"_s),
         .compared = columns(u"OrderName OrderCode DisOrderCode"_s)},
        {.name = u"SMS_IsOrder"_s,
         .columns = columns(u"UserName Type IsOrder"_s),
         .compared = columns(u"UserName Type"_s),
         .updated = {u"IsOrder"_s},
         .inserted = columns(u"UserName Type IsOrder"_s)},
        {.name = u"SMS_Alert_MaxOAID"_s,
         .columns = columns(u"UserName Source CurrentMaxOAID"_s),
         .compared = columns(u"UserName Source"_s),
         .updated = {u"CurrentMaxOAID"_s},
         .inserted = columns(u"UserName Source CurrentMaxOAID"_s)},
        {.name = u"VO_UserInfor"_s,
         .columns = columns(u"UserName Mobile TureName AccountState"_s),
         .compared = columns(u"UserName Mobile AccountState"_s)},
        {.name = u"VO_Email"_s,
         .columns = columns(u"VOID EmailSource EmailStatus EmailTo EmailFrom EmailFromName EmailSubject "
                            "EmailContent ImpDegree EmailDate EmailToDis EmailCC MSGID EOAID"_s),
         .key = u"VOID"_s,
         .uses = Table::NeedsIdentity | Table::ForMail,
         .compared = columns(u"EmailSource EmailStatus"_s),
         .comparedForMail = {u"MSGID"_s},
         .inserted = columns(u"EmailSubject EmailContent EmailTo MSGID EOAID"_s)},
        {.name = u"VO_EmailAttachments"_s,
         .columns = columns(u"OAID EmailID FileName FileTitle FileType FileContent"_s),
         .uses = Table::ForMail,
         .inserted = columns(u"EmailID FileName FileTitle"_s)},
        {.name = u"SA_email"_s,
         .columns = columns(u"OAID UserName POPIP PopPort EUsername EPassword IsBaoLiu"_s)},
    };
}
