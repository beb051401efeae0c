#include "app/OfficeTables.h"

using namespace Qt::StringLiterals;

std::vector<OfficeTable> officeTables()
{
    const auto columns = [](const QString &text) { return text.split(u' '); };
    return {
        {u"SMS_WaitToSend"_s,
         columns(u"OAID ToSendDT FromUserName ToUserList ToNameList CreateDT MsgType MsgContent"_s)},
        {u"SMS_SendList"_s, columns(u"OAID FromUser ToUserList ToNameList CreateDT MsgType MsgContent"_s)},
        {u"SMS_Queues"_s, columns(u"OAID SOAID ToUser ToMB MsgContent MsgStatus MsgType RetryCount"_s)},
        {u"SMS_ResultDetail"_s, columns(u"OAID SOAID ToUser ToMB MsgContent SendOutDT IsSuccess"_s)},
        {u"SMS_SIMReceive"_s, columns(u"OAID FromMB JieSHouDT MsgContent"_s)},
        {u"SMS_Order"_s, columns(u"OrderName OrderCode DisOrderCode IsOrder isPulic UserList"_s)},
        {u"SMS_IsOrder"_s, columns(u"UserName Type IsOrder"_s)},
        {u"SMS_Alert_MaxOAID"_s, columns(u"UserName Source CurrentMaxOAID"_s)},
        {u"VO_UserInfor"_s, columns(u"UserName Mobile TureName AccountState"_s)},
        {u"VO_Email"_s, columns(u"VOID EmailSource EmailStatus EmailTo EmailFrom EmailFromName EmailSubject "
                                "EmailContent ImpDegree EmailDate EmailToDis EmailCC MSGID EOAID"_s)},
        {u"VO_EmailAttachments"_s, columns(u"OAID EmailID FileName FileTitle FileType FileContent"_s)},
        {u"SA_email"_s, columns(u"OAID UserName POPIP PopPort EUsername EPassword IsBaoLiu"_s)},
    };
}
