#include "console/ProgramIcon.h"
#include "console/Twips.h"
#include "console/frmMain.h"
#include "foundation/GetFormateTime.h"

#include <QGroupBox>

using namespace Qt::StringLiterals;

// The main window's design: what stands where, in twips, and what follows a resize.

namespace
{

constexpr QSize designedClient(pixelsFromTwips(8610), pixelsFromTwips(8445));
/// pBorder: the smallest outer size of the window.
constexpr QSize border(pixelsFromTwips(8625), pixelsFromTwips(8040));

QLabel *placeLabel(QWidget *parent, const QString &name, const QString &text, const QRect &rectangle)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(name);
    label->setGeometry(rectangle);
    return label;
}

} // namespace

void frmMain::buildWindow()
{
    setObjectName(u"frmMain"_s);
    setWindowTitle(u"Brenmoor网络协同办公系统短信平台服务器"_s);
    setWindowIcon(programIcon());

    auto *about = new QGroupBox(u"关于Korvalin"_s, this);
    about->setObjectName(u"Frame1"_s);
    about->setGeometry(rectFromTwips(15, 60, 7605, 960));
    QLabel *image = placeLabel(about, u"Image1"_s, {}, rectFromTwips(120, 330, 540, 540));
    image->setPixmap(programIcon().pixmap(image->size()));
    placeLabel(about, u"Label1"_s, u"BrenmoorOA SMS  Server 2007"_s, rectFromTwips(840, 330, 4300, 270));
    placeLabel(about, u"Label2"_s, u"短信平台服务器 V2.0"_s, rectFromTwips(840, 615, 4300, 270));
    QLabel *url =
        placeLabel(about, u"lblUrl"_s, QStringLiteral(SMS_PRODUCT_URL), rectFromTwips(5280, 660, 2220, 195));
    url->setStyleSheet(u"color: #0000ff"_s);

    btnOp.setObjectName(u"btnOp"_s);
    btnOp.setText(u"启动"_s);
    btnOp.setGeometry(rectFromTwips(7665, 165, 900, 390));
    Command1.setObjectName(u"Command1"_s);
    Command1.setText(u"配置"_s);
    Command1.setGeometry(rectFromTwips(7665, 630, 900, 390));
    m_smsLog.setObjectName(u"SMSLog"_s);
    m_smsLog.setGeometry(rectFromTwips(30, 1110, 8535, 6960));
    resize(designedClient);
}

void frmMain::resizeEvent(QResizeEvent *)
{
    if (isMinimized())
        return;
    // The designed minimum is an outer size: what the window's frame adds belongs to it.
    const QSize frame = frameGeometry().size() - size();
    const QSize wanted(width() < border.width() ? border.width() - frame.width() : width(),
                       height() < border.height() ? border.height() - frame.height() : height());
    if (wanted != size())
        resize(wanted);
    const int top = m_smsLog.y();
    const int logHeight = height() - m_statusBar.height() - top;
    setPanelText(Time, GetFormateTime(m_parts.clock));
    for (const Panel counter : {ToSend, Succeeded, Failed})
        setPanelText(counter, u"0"_s);
    m_smsLog.setGeometry(0, top, width(), logHeight);
    m_statusBar.setGeometry(0, height() - m_statusBar.height(), width(), m_statusBar.height());
    m_statusBar.setPanelWidth(Filler, width());
}
