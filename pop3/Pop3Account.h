#pragma once

#include <QByteArray>
#include <QString>
#include <variant>

/// Where and as whom to log in, checked so that nothing in it can change a command line or an address.
struct Pop3Account {
    QByteArray url; ///< pop3://host:port or, for the TLS port, pop3s://host:port; never holds the login
    QString server; ///< host:port as shown to people
    QByteArray login;
    QByteArray password;
    bool tlsFromTheFirstByte = false;
};

/// Checks the values of a mail account as they come from a table. Blanks around the host are dropped
/// (fixed-width columns); international host names become ASCII (RFC 3490); IPv6 addresses may be in
/// brackets or bare. Login and password are sent as UTF-8 as they are; control characters in them are
/// refused, since a line end would start a command of its own. Result: the account, or what is wrong with it,
/// in words.
[[nodiscard]] std::variant<Pop3Account, QString> checkedAccount(const QString &login, const QString &password,
                                                                const QString &server, int port, int tlsPort);
