#pragma once

#include <QImage>
#include <QProcess>

/// A desktop of its own for the programs that the test starts from now on: X server, window manager,
/// notification area; driven with real mouse and keyboard events. Everything ends with the object. Throws
/// std::runtime_error when a part of it does not start.
class Desktop
{
public:
    Desktop();
    ~Desktop();
    Desktop(const Desktop &) = delete;
    Desktop &operator=(const Desktop &) = delete;

    /// What the tool for X events says.
    static QString say(const QStringList &arguments);
    static void xdotool(const QString &arguments) { say(arguments.split(u' ')); }

    /// The window on the screen whose title contains the text; "" when there is none.
    [[nodiscard]] static QString window(const QString &title)
    {
        return search(QStringLiteral("--name"), title);
    }
    [[nodiscard]] static QString notificationArea()
    {
        return search(QStringLiteral("--class"), QStringLiteral("trayer"));
    }
    /// The window's size with its frame.
    [[nodiscard]] static QSize outerSizeOf(const QString &window);
    /// The colours of the screen within the window.
    [[nodiscard]] static QImage picture(const QString &window);

    /// position: within the window. button: 1 left, 3 right.
    static void click(const QString &window, QPoint position, int button = 1, int times = 1);
    /// Keys by their X names, one after the other, for example "Tab", "alt+F4".
    static void press(const QString &keys) { xdotool(QStringLiteral("key ") + keys); }
    static void type(const QString &text) { say({QStringLiteral("type"), text}); }

private:
    [[nodiscard]] static QString search(const QString &what, const QString &text)
    {
        return say({QStringLiteral("search"), QStringLiteral("--onlyvisible"), what, text})
            .section(u'\n', -1);
    }

    QProcess m_screen;
    QProcess m_windowManager;
};
