#pragma once

#include <QStringList>
#include <chrono>
#include <limits>
#include <vector>

/// Days of an office, as one seed tells them: what its people do, and all that goes wrong in life. In words, so that a
/// person reads them and a story can be told with an event left out:
///
///     waiting ID DELAY LENGTH USERS    a message is scheduled, due DELAY seconds later
///     queue ID FIRST COUNT             a broadcast is in the queue, to as many numbers from FIRST on
///     withdraw ID, postpone ID DELAY   ... is taken back, is put off
///     mail ID internal|external USER   a mail comes
///     sms ID LENGTH USER [ORDER]       an SMS comes, its parts in that order
///     code USER CODE                   ... with a subscription code
///     modem N COMMAND                  the modem of server N: a command of modem-simulator's control channel
///     held SECONDS                     another program holds the database
///     full PAGES SECONDS               so many pages are left on the disk
///     broken ERRNO SECONDS [FILE]      the disk fails
///     emptied FILE, torn FILE OCTETS   somebody empties a file, takes so much of its end
///     mended FILE                      ... puts back what was there
///     refusing SECONDS                 the database refuses every received message
///     away N SECONDS                   server N does not reach the database
///     clock SECONDS                    somebody moves the wall clock
///     kill N CROSSINGS PAUSE           server N is killed so many crossings of a seam later, and started PAUSE seconds
///                                      after that
///     crash N TIMES PAUSE              ... in the middle of each of its next hand-overs
///     cut N CROSSINGS PAUSE            ... by a power cut of its machine
///     stop N PAUSE                     the operator stops server N and starts it again
///     sees QUERY                       by now the office's tables answer this query with 1
struct Story {
    struct Event {
        std::chrono::milliseconds at{0};
        QString words;
    };

    quint64 seed = 0;
    int servers = 1;
    std::chrono::seconds interval{10};
    QStringList settings{}; ///< NAME=VALUE
    std::chrono::seconds length{0};
    std::vector<Event> events{};

    /// Of the first server, so many crossings of a seam after its start; 0 for none.
    quint64 endsAt = 0;
    bool isPowerCut = false; ///< which ends it
    // What may come of the story at most.
    int mostRefused = std::numeric_limits<int>::max(); ///< tries
    int mostDoubled = std::numeric_limits<int>::max(); ///< messages

    /// One line an event, with its time.
    [[nodiscard]] QString text() const;
};

[[nodiscard]] Story storyOf(quint64 seed, std::chrono::seconds length, std::chrono::seconds interval);
/// Minutes at a modem's store.
[[nodiscard]] Story storeStory(quint64 seed);
/// What the first server keeps beside the database.
[[nodiscard]] const QStringList &ownFiles();
