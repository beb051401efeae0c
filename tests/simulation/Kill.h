#pragma once

#include <QtGlobal>

/// The death of a server at any moment. Whatever it does to the world goes over a seam: octets to the modem, each write,
/// sync and change of a name on the disk. These crossings are numbered (to die while reading is to die before the next); from the one at which it is to die on, every seam is dead to it: nothing it does has an
/// effect any more, and its objects can be destroyed as soon as they have returned.
namespace Kill
{

/// A server begins to live.
void begin(int server);
/// It dies so many crossings from now: with 0 at once.
void after(int server, quint64 crossings);
/// Whoever runs now (VirtualTime::domain) crosses a seam. False: he is dead, and nothing may happen. The world lives for
/// ever.
[[nodiscard]] bool crosses();
[[nodiscard]] bool isDead(int server);
/// True while whoever runs now is dead; crosses nothing.
[[nodiscard]] bool isDead();
/// Since it began to live.
[[nodiscard]] quint64 crossings(int server);

} // namespace Kill
