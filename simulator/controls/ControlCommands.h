#pragma once

#include "simulator/Modem.h"
#include "simulator/controls/ControlTable.h"

namespace simulator
{
/// What a person or a test can ask of the running simulator. Each function adds the commands of one subject;
/// the table keeps a reference to the modem.
void addControls(ControlTable &controls, Modem &modem);

/// Answers that differ from the standard.
void addAnswerControls(ControlTable &controls, Modem &modem);
/// What is said unasked: at a start, at an open, now, in the middle of an exchange.
void addUnaskedControls(ControlTable &controls, Modem &modem);
/// Messages that arrive.
void addDeliverControls(ControlTable &controls, Modem &modem);
/// The fate of messages that are sent.
void addSendControls(ControlTable &controls, Modem &modem);
/// The line and the pace of the dialogue on it.
void addLineControls(ControlTable &controls, Modem &modem);
/// SIM, registration, identity and the overall status.
void addStateControls(ControlTable &controls, Modem &modem);
/// The stores.
void addStorageControls(ControlTable &controls, Modem &modem);
} // namespace simulator
