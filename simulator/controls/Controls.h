#pragma once

#include "simulator/Modem.h"
#include "simulator/controls/ControlWords.h"

namespace simulator
{
/// What a person or a test can ask of the running simulator.
struct Control {
    QString usage; ///< its name and what follows
    QString help;
    /// Throws std::runtime_error to refuse.
    void (*run)(Modem &modem, ControlWords &words);
};

/// The answer to one line: "ok", perhaps with a text, or "error" with the reason. Listings follow as lines
/// that start with two blanks.
QString runControl(Modem &modem, const QString &line);

/// Answers that differ from what they should be, and the fate of messages that are sent.
QList<Control> answerControls();
/// Messages that arrive.
QList<Control> deliverControls();
/// The line and what is said on it unasked.
QList<Control> lineControls();
/// SIM, registration, identity and the overall status.
QList<Control> stateControls();
/// The stores.
QList<Control> storageControls();
} // namespace simulator
