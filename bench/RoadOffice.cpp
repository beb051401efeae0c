#include "bench/RoadOffice.h"

using namespace Qt::StringLiterals;

RoadOffice::RoadOffice(DatabaseRoute route, const Workload &load) : Office(route)
{
    oa(u"begin"_s);
    for (qsizetype i = 0; i < load.names.size(); ++i)
        oa(u"insert into VO_UserInfor (UserName, Mobile, AccountState) values ('%1', '%2', '1')"_s
               .arg(load.names[i])
               .arg(13800000000LL + i));
    oa(u"insert into SMS_WaitToSend (ToSendDT, FromUserName, ToUserList, ToNameList, CreateDT,"
       " MsgType, MsgContent) values ('2006-01-01', 'boss', '%1', '', '2006-01-01', '0', '%2')"_s.arg(
           load.names.join(u';'), load.text));
    oa(u"commit"_s);
    makeDurable();
}
