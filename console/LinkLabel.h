#pragma once

#include <QLabel>

/// A label that behaves like a hyperlink: blue at rest, red and underlined under the pointer; a click, or
/// Enter on the keyboard, puts it at rest again and asks to open its text.
class LinkLabel final : public QLabel
{
    Q_OBJECT
public:
    explicit LinkLabel(const QString &address, QWidget *parent = nullptr);

signals:
    void clicked(const QString &address);

protected:
    void mouseMoveEvent(QMouseEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void leaveEvent(QEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;
    void focusInEvent(QFocusEvent *event) override;
    void focusOutEvent(QFocusEvent *event) override;
    void changeEvent(QEvent *event) override;

private:
    void setHovered(bool hovered);
    void standOut();
    void open();

    bool m_isPressed = false;
};
