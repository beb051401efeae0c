#pragma once

#include <QtGlobal>

/// Every result that the modem control's operations return. 0 is success; the numbers are stable, since
/// operators quote them from the log.
enum class ModemResult : qint16 {
    Ok = 0,

    // open()
    NoSuchPort = 1,     ///< no device for this COM number
    PortBusy = 2,       ///< another program holds the port
    PortDenied = 3,     ///< no right to open the device
    PortFailed = 4,     ///< the device exists but cannot be opened, or went away during the bring-up
    ModemSilent = 5,    ///< the port opens but nothing answers AT
    SimMissing = 6,     ///< no SIM
    SimLocked = 7,      ///< the SIM waits for a PIN or PUK, which is never guessed
    SimFailure = 8,     ///< the SIM is faulty, wrong, or stayed busy
    PduModeRefused = 9, ///< AT+CMGF=0 was refused: no SMS in PDU mode
    ServiceCentreInvalid =
        10, ///< the centre number is not an optional "+" and 1 to 20 digits; no device was touched
    ServiceCentreRefused = 11, ///< the modem did not take the centre number

    // send(); nothing reached the line with 20 and 21
    NumberInvalid = 20, ///< the mobile number is not an optional "+" and 1 to 20 digits
    TextTooLong = 21,   ///< the text needs more than 255 parts
    Refused = 22,       ///< the modem or the network refused the message (ERROR, +CMS ERROR, +CME ERROR)
    NotConfirmed = 23,  ///< the modem said OK without a message reference: it was not sent
    FateUnknown = 24,   ///< the TPDU was handed over and no result came in time: sent or not, never resent
    PartlySent = 25,    ///< a part of a concatenated message was accepted and a later one was not

    // read()
    NoMessage = 30,         ///< read() outside messageArrived()
    MessageUnreadable = 31, ///< the TPDU cannot be decoded; its octets were given by notice()
};
