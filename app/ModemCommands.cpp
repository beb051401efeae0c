#include "app/ModemCommands.h"

#include "app/SettingsCommands.h"
#include "app/SingleInstance.h"
#include "app/Terminal.h"
#include "app/World.h"
#include "foundation/ServiceSettings.h"
#include "foundation/Settings.h"
#include "platform/text/HarmlessText.h"

#include <QCoreApplication>
#include <QDir>
#include <QSet>

using namespace Qt::StringLiterals;

namespace
{

/// Each once, by the name that stays the same over a restart where it has one; those of the settings may lie elsewhere.
QStringList serialPorts(const Registry &registry)
{
    constexpr int mostPorts = 99;
    QStringList ports;
    QSet<QString> seen;
    for (const auto &[folder, pattern] :
         {std::pair(u"/dev/serial/by-id"_s, u"*"_s), std::pair(u"/dev"_s, u"ttyUSB*"_s),
          std::pair(u"/dev"_s, u"ttyACM*"_s), std::pair(u"/dev"_s, u"ttyS*"_s)}) {
        for (const QFileInfo &file : QDir(folder).entryInfoList({pattern}, QDir::System | QDir::Files)) {
            if (!seen.contains(file.canonicalFilePath()))
                ports += file.absoluteFilePath();
            seen.insert(file.canonicalFilePath());
        }
    }
    for (int port = 1; port <= mostPorts; ++port) {
        const QString device = registry.read(Settings::comDevicePath(port));
        if (!device.isEmpty() && !seen.contains(QFileInfo(device).canonicalFilePath()))
            ports += device;
    }
    return ports;
}

void say(const QString &text)
{
    print(stdout, harmlessText(text) + u'\n');
}

/// True when a modem is there.
bool tryPort(const QString &device)
{
    constexpr std::chrono::milliseconds patience{5000};
    const SystemClock clock;
    ModemControl modem(clock, [&device](int) { return device; }, nullptr, {.sync = patience});
    QString cause;
    QObject::connect(&modem, &ModemControl::notice, [&cause](const QString &text) { cause = text; });
    modem.setPortNumber(1);
    if (modem.open() != 0) {
        say(device + u"："_s + cause);
        return false;
    }
    const ModemStatus status = modem.askStatus();
    say(u"%1：%2，%3 波特，SIM 卡尾号 %4，%5，信号 %6 格"_s
            .arg(device, status.model, QString::number(status.baud), status.simEnd,
                 status.isRegistered ? u"已注册到网络 "_s + status.network : u"未注册到网络"_s)
            .arg(status.signalBars()));
    return true;
}

} // namespace

int findModem(Registry &registry, const QString &comPort)
{
    QStringList found;
    for (const QString &device : serialPorts(registry)) {
        if (tryPort(device))
            found += device;
    }
    if (found.isEmpty())
        say(u"没有找到短信猫"_s);
    else if (!comPort.isEmpty() && found.size() > 1)
        say(u"找到多个短信猫，没有写入，请用 --set %1=设备 写入其中一个"_s.arg(comPort));
    else if (!comPort.isEmpty()) {
        writeSettings(registry, {{comPort, found.first()}});
        say(u"已写入 %1=%2"_s.arg(comPort, found.first()));
    }
    return found.isEmpty() ? 1 : 0;
}

int sendTest(const CommandLine &line)
{
    if (SingleInstance::isRunning(line.settingsFile))
        throw Fault(u"短信服务正在运行，短信猫由它使用，请先停止服务"_s);
    World world(line, QCoreApplication::applicationFilePath());
    const ServiceSettings settings = readServiceSettings(world.registry);
    if (!settings.comPort)
        throw Fault(u"没有指定 GSM Modem 的 COM 端口"_s);
    ModemControl &modem = world.modem;
    QObject::connect(&modem, &ModemControl::notice, say);
    modem.setPortNumber(*settings.comPort);
    modem.setSpeed(settings.lineSpeed);
    modem.setServiceCentre(settings.serviceCentre);
    if (modem.open() != 0)
        return 1;
    const qint16 result = modem.send(line.testNumber, line.testText);
    say(result == 0
            ? u"短信已发给 %1"_s.arg(line.testNumber)
            : u"短信没有发给 %1（代码 %2）：%3"_s.arg(line.testNumber).arg(result).arg(modem.lastRefusal()));
    static_cast<void>(modem.close());
    return result == 0 ? 0 : 1;
}
