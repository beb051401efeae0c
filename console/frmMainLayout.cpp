#include "console/ProgramIcon.h"
#include "console/Twips.h"
#include "console/frmMain.h"
#include "foundation/GetFormateTime.h"

#include <QAccessibleWidget>
#include <QApplication>
#include <QLabel>
#include <QWindow>
#include <QWindowStateChangeEvent>

using namespace Qt::StringLiterals;

// The main window's design: what is where, in twips, and what follows a resize.

namespace
{

constexpr int twipsPerPoint = 20;
constexpr QSize designedClient(pixelsFromTwips(8610), pixelsFromTwips(8445));
/// pBorder: the smallest outer size of the window.
constexpr QSize border(pixelsFromTwips(8625), pixelsFromTwips(8040));

QLabel *placeLabel(QWidget *parent, const QString &name, const QString &text, const QRect &rectangle)
{
    auto *label = new QLabel(text, parent);
    label->setObjectName(name);
    label->setTextFormat(Qt::PlainText);
    label->setGeometry(rectangle);
    return label;
}

/// A plain widget would be a mere "filler" to assistive technology.
QAccessibleInterface *frameFor(const QString &, QObject *object)
{
    auto *window = qobject_cast<frmMain *>(object);
    return window != nullptr ? new QAccessibleWidget(window, QAccessible::Window, window->windowTitle())
                             : nullptr;
}

} // namespace

QString frmMain::windowCaption()
{
    return u"Brenmoor网络协同办公系统短信平台服务器"_s;
}

void frmMain::buildWindow()
{
    setObjectName(u"frmMain"_s);
    setWindowTitle(windowCaption());
    QApplication::setWindowIcon(programIcon()); // of every dialog too
    // The design's letters are 9 points high; like everything else in it, whatever the desktop's own font is.
    QFont letters = font();
    letters.setPixelSize(pixelsFromTwips(9 * twipsPerPoint));
    setFont(letters);

    Frame1.setObjectName(u"Frame1"_s);
    Frame1.setTitle(u"关于Korvalin"_s);
    Frame1.setGeometry(rectFromTwips(15, 60, 7605, 960));
    QLabel *image = placeLabel(&Frame1, u"Image1"_s, {}, rectFromTwips(120, 330, 540, 540));
    image->setPixmap(programIcon().pixmap(image->size(), devicePixelRatio()));
    placeLabel(&Frame1, u"Label1"_s, u"BrenmoorOA SMS  Server 2007"_s, rectFromTwips(840, 330, 4300, 270));
    placeLabel(&Frame1, u"Label2"_s, u"短信平台服务器 V2.0"_s, rectFromTwips(840, 615, 4300, 270));
    lblUrl.setObjectName(u"lblUrl"_s);
    lblUrl.setGeometry(rectFromTwips(5280, 660, 2220, 195));
    letters.setPixelSize(lblUrl.height() - 2); // what the label's designed height holds
    lblUrl.setFont(letters);

    btnOp.setObjectName(u"btnOp"_s);
    btnOp.setGeometry(rectFromTwips(7665, 165, 900, 390));
    Command1.setObjectName(u"Command1"_s);
    Command1.setText(u"配置"_s);
    Command1.setGeometry(rectFromTwips(7665, 630, 900, 390));
    m_smsLog.setObjectName(u"SMSLog"_s);
    m_smsLog.setGeometry(rectFromTwips(30, 1110, 8535, 6960));
    for (QPushButton *button : {&btnOp, &Command1})
        button->setAutoDefault(true); // Enter presses the focused one, as in a dialog
    btnOp.setFocus();
    describeForScreenReaders();
    resize(designedClient);
}

void frmMain::describeForScreenReaders()
{
    QAccessible::installFactory(frameFor);
    btnOp.setAccessibleDescription(u"启动或停止短信服务"_s);
    Command1.setAccessibleDescription(u"打开参数设置"_s);
    m_smsLog.setAccessibleName(u"运行日志，最新的在最前面"_s);
    lblUrl.setAccessibleDescription(u"在浏览器中打开产品网页"_s);
    m_statusBar.setAccessibleName(u"服务状态"_s);
}

void frmMain::holdMinimumSize()
{
    // The designed minimum is an outer size: what the window's frame adds belongs to it. On X11 the frame is
    // known only some time after the first layout, so a side that is held is measured again.
    const QSize frame = frameGeometry().size() - size();
    const auto held = [](int length, int before, int smallest, int edges) {
        return length < smallest || length == before ? smallest - edges : -1;
    };
    m_heldSize = {held(width(), m_heldSize.width(), border.width(), frame.width()),
                  held(height(), m_heldSize.height(), border.height(), frame.height())};
    const QSize wanted(m_heldSize.width() < 0 ? width() : m_heldSize.width(),
                       m_heldSize.height() < 0 ? height() : m_heldSize.height());
    // A window manager in the middle of a drag may deny the resize below and never say so: it is told the
    // limit. This resizes too, and comes back here.
    setMinimumSize(border - frame);
    if (wanted != size())
        resize(wanted);
}

void frmMain::moveEvent(QMoveEvent *)
{
    if (!isMinimized())
        holdMinimumSize();
}

void frmMain::resizeEvent(QResizeEvent *)
{
    layOut();
}

void frmMain::changeEvent(QEvent *event)
{
    QWidget::changeEvent(event);
    // By the time a window gets the focus its frame is there; nothing tells of the frame itself.
    if (event->type() == QEvent::ActivationChange && !isMinimized())
        holdMinimumSize();
    // A window that is restored to the size it had is not told of a resize.
    if (event->type() == QEvent::WindowStateChange &&
        static_cast<QWindowStateChangeEvent *>(event)->oldState().testFlag(Qt::WindowMinimized))
        layOut();
}

void frmMain::layOut()
{
    if (isMinimized())
        return;
    holdMinimumSize();
    // After the end a picture of the window may still be taken, but it shows what the operator saw.
    if (!m_service.hasEnded()) {
        m_console.setPanelText(OperatorConsole::Time, GetFormateTime(m_parts.clock));
        for (const auto counter :
             {OperatorConsole::ToSend, OperatorConsole::Succeeded, OperatorConsole::Failed})
            m_console.setPanelText(counter, u"0"_s);
    }
    placeControls(size());
}

void frmMain::placeControls(const QSize &client)
{
    const int top = m_smsLog.y();
    m_smsLog.setGeometry(0, top, client.width(), client.height() - m_statusBar.height() - top);
    m_statusBar.setGeometry(0, client.height() - m_statusBar.height(), client.width(), m_statusBar.height());
    m_statusBar.setPanelWidth(OperatorConsole::Filler, client.width());
}

void frmMain::fitIntoTile()
{
    // A window manager that lays out tiles gives less than the minimum, and denies the growing back without a
    // word to the widget; its window knows.
    if (isVisible() && !isMinimized() && windowHandle()->size() != size())
        placeControls(windowHandle()->size());
}
