#pragma once

#include <QPushButton>

/// A label that behaves like a hyperlink: blue at rest, red and underlined under the pointer or with the keyboard's
/// focus; a click, or Enter on the keyboard, puts it at rest again and asks to open its text.
class LinkLabel final : public QPushButton
{
    Q_OBJECT
public:
    LinkLabel(const QString &address, QWidget *parent);

signals:
    void chosen(const QString &address);

protected:
    bool event(QEvent *event) override;

private:
    void setLit(bool isLit);

    bool m_isLit = false;
};
