#pragma once

#include "service/MessageBoxes.h"

/// Real boxes over the active window.
class WindowMessageBoxes final : public MessageBoxes
{
public:
    void inform(const QString &text) override;
    bool confirm(const QString &text) override;
};
