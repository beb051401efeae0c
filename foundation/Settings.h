#pragma once

#include "foundation/SettingForms.h"
#include "platform/registry/Registry.h"

#include <QStringList>

/// The settings: text values in the registry, each at one full path.
namespace Settings
{

/// The three values of the settings dialog.
[[nodiscard]] QString centerCodePath();
[[nodiscard]] QString timeDelayPath();
[[nodiscard]] QString serverPortPath();
/// The OA system's own value: the server reads it and never writes it, but for `--set`.
[[nodiscard]] QString connectStringPath();

/// Settings of this program beyond the OA system's, in a group of their own.
/// - COMn: the device behind COM port n, for systems without COM ports;
/// - COMnSpeed: the line speed of the modem there, in baud; absent means that it is searched;
/// - SenderCountryCode: numbers of this country (digits, for example 86) are delivered in national form;
/// - MailTls: "verify" makes opportunistic TLS of mail accounts verify the server too;
/// - MailHiddenText: "attach" stores a mail's text as an attachment where its row does not show it;
/// - Servers: "several" shares the database's work with other servers;
/// - SendPerHour, SendPerDay: SMS that this server sends in any 60 minutes and any 24 hours at most; SendGap:
///   seconds between two messages at least; RepliesPerHour: confirmations that one number causes at most;
/// - ProductUrl, MakerUrl: the two web addresses in place of those that were built in.
/// COMn's path.
[[nodiscard]] QString comDevicePath(int comPort);

/// The full path of a setting by the short name that the command line uses (CenterCode, COM3, ...); "" for an
/// unknown name. Letter case does not count.
[[nodiscard]] QString pathOf(const QString &shortName);
/// What the text is as the setting of that short name: the one reading of a setting, for who writes, checks or uses
/// it. A blank text takes the setting away and always does.
[[nodiscard]] SettingValue parsed(const QString &shortName, const QString &typed);
/// The stored one. Throws Fault when the registry cannot be read.
[[nodiscard]] SettingValue read(const Registry &registry, const QString &shortName);
/// The short names in the order in which they are shown; COM ports are listed as COM1, COM1Speed to COM10Speed.
[[nodiscard]] QStringList shortNames();

} // namespace Settings

/// The text stored at a full registry path; absent reads as empty.
/// Throws Fault when the registry cannot be read.
[[nodiscard]] QString ReadRegValue(const Registry &registry, const QString &path);
