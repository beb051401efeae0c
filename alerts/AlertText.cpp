#include "alerts/AlertText.h"

#include "outgoing/MessagePieces.h"

using namespace Qt::StringLiterals;

QString alertText(MailKind kind, const QString &senderLabel, const QString &subject)
{
    const QString start = kind == MailKind::Internal ? u"【办公信息】您收到一封内部新邮件，发件人："_s
                                                     : u"【办公信息】您收到一封外部新邮件，发件人："_s;
    const QString text = start + senderLabel + u" 邮件标题："_s + subject;
    return text.left(pieceEnd(text, 0, maximumPieceLength));
}
