#pragma once

#include "simulator/ControlTable.h"
#include "simulator/Modem.h"

namespace simulator
{
/// What a person or a test can ask of the running simulator. Each function adds the commands of one subject;
/// the table keeps a reference to the modem.

/// Answers that differ from the standard, and what is said unasked at a start or an open.
void addAnswerControls(ControlTable &controls, Modem &modem);
/// Messages that arrive.
void addDeliverControls(ControlTable &controls, Modem &modem);
/// The fate of messages that are sent.
void addSendControls(ControlTable &controls, Modem &modem);
/// The line and the dialogue on it.
void addLineControls(ControlTable &controls, Modem &modem);
/// SIM, registration and the overall status.
void addStateControls(ControlTable &controls, Modem &modem);
/// The stores.
void addStorageControls(ControlTable &controls, Modem &modem);
} // namespace simulator
