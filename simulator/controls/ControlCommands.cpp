#include "simulator/controls/ControlCommands.h"

namespace simulator
{
void addControls(ControlTable &controls, Modem &modem)
{
    for (const auto add : {addAnswerControls, addUnaskedControls, addDeliverControls, addSendControls,
                           addLineControls, addStateControls, addStorageControls})
        add(controls, modem);
}
} // namespace simulator
