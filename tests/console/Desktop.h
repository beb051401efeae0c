#pragma once

#include <QImage>
#include <QProcess>
#include <QStringList>
#include <memory>
#include <vector>

/// A desktop of its own: X server, window manager, notification area; driven with real mouse and keyboard
/// events. Everything ends with the object. Throws std::runtime_error when a part of it does not start.
class Desktop
{
public:
    Desktop();
    ~Desktop();
    Desktop(const Desktop &) = delete;
    Desktop &operator=(const Desktop &) = delete;

    /// Starts a program on this desktop; it is ended with what holds it.
    [[nodiscard]] std::unique_ptr<QProcess> run(const QString &program, const QStringList &arguments) const;
    /// What the tool for X events says.
    QString xdotool(const QStringList &arguments) const;

    /// The window on the screen whose title contains the text; "" when there is none.
    [[nodiscard]] QString window(const QString &title) const
    {
        return search(QStringLiteral("--name"), title);
    }
    [[nodiscard]] QString notificationArea() const
    {
        return search(QStringLiteral("--class"), QStringLiteral("trayer"));
    }
    /// The window's size, without its frame.
    [[nodiscard]] QSize sizeOf(const QString &window) const;
    /// What the window manager's frame adds to it.
    [[nodiscard]] QSize frameOf(const QString &window) const;
    /// The colours of the screen within the window.
    [[nodiscard]] QImage picture(const QString &window) const;

    enum Button { Left = 1, Right = 3 };
    /// position: within the window.
    void click(const QString &window, QPoint position, Button button = Left, int times = 1) const;
    /// Resizes the window with the mouse as a person does, its lower right corner moved by so much.
    void dragCorner(const QString &window, QPoint by) const;
    /// Keys by their X names, one after the other, for example "Tab", "alt+F4".
    void press(const QStringList &keys) const { xdotool(QStringList{QStringLiteral("key")} + keys); }

private:
    [[nodiscard]] QString search(const QString &what, const QString &text) const;
    [[nodiscard]] QByteArray output(const QString &program, const QStringList &arguments) const;
    void startPart(const QString &program, const QStringList &arguments);

    QProcessEnvironment m_environment = QProcessEnvironment::systemEnvironment();
    std::vector<std::unique_ptr<QProcess>> m_parts;
};
