#pragma once

#include <QRect>

/// The window's design is measured in twips, 1/1440 inch; this is the one place that turns them into Qt's
/// device-independent pixels, 96 to the inch (the platform scales those for the screen).
[[nodiscard]] constexpr int pixelsFromTwips(int twips)
{
    return (twips * 96 + (twips < 0 ? -720 : 720)) / 1440;
}

/// A designed rectangle: left, top, width, height in twips.
[[nodiscard]] constexpr QRect rectFromTwips(int left, int top, int width, int height)
{
    return {pixelsFromTwips(left), pixelsFromTwips(top), pixelsFromTwips(width), pixelsFromTwips(height)};
}
