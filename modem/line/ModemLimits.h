#pragma once

#include <QtGlobal>
#include <chrono>

/// Every time limit of the modem control. Tests shorten them; the program uses the defaults.
struct ModemLimits {
    using ms = std::chrono::milliseconds;
    using s = std::chrono::seconds;

    ms syncAttempt{500};    ///< one AT while looking for the modem: sleepers lose the first one
    ms sync{12000};         ///< whole search for a modem at open(), over all line speeds
    ms resync{5000};        ///< the same after a time-out: the user waits for it
    ms lateResult{15000};   ///< more of it for a modem that may be at a text which a kill left in its hands
    ms reopenSync{2500};    ///< the same when reopening a lost port, again and again while the user works
    ms command{10000};      ///< any ordinary command; storage commands take seconds on some modems
    ms prompt{15000};       ///< AT+CMGS to ">": at once or not at all
    ms slowPrompt{2000};    ///< a modem that took longer may have started anew meanwhile
    ms sendResult{300000};  ///< TPDU to its final result: networks have accepted after 135 s
    ms whileSending{15000}; ///< between two signs that a send still waits
    ms afterRestart{12000}; ///< for a result once the modem announced a restart: some announcements are none
    ms quiet{200};          ///< silence behind an OK that should have had a line before it
    ms lineFeed{50};        ///< for the LF behind a CR: some modems are deaf until it is out
    ms straggler{2000}; ///< until an OK behind its line, or a prompt behind a stray result, is not waited for
    ms lateReference{5000};     ///< until a bare OK to a TPDU counts as no confirmation
    ms simBusy{10000};          ///< how long a SIM may stay busy at open()
    ms simRetry{300};           ///< between two questions to a busy SIM
    ms storePoll{60000};        ///< the store is read at least this often: notifications get lost
    ms proof{1000};             ///< how long a reading proves what stands in a place
    ms look{50000};             ///< between two questions how the modem is
    ms reopen{10000};           ///< between two attempts to reopen a lost port
    ms waitRetry{10000};        ///< until messages that had to wait are raised again
    s refusedFirst{10};         ///< until a refused message is raised again; doubled each time, ...
    s refusedMost{3600};        ///< ... up to this
    s rememberParts{24 * 3600}; ///< how long a set that was delivered in part is known by its reference
    /// An incomplete concatenated message is delivered as far as it came when its newest part is this old by
    /// its service-centre time (by the time first seen when that is earlier), ...
    s incompleteSet{24 * 3600};
    /// ... but never before it has been seen this long: a modem that was off for days gets its parts one
    /// by one.
    s incompleteGrace{600};
};

/// Every size limit of the modem control; what is beyond is cut off or refused as said.
namespace ModemBounds
{
constexpr qsizetype lineOctets = 4096;      ///< a longer line is dropped whole
constexpr qsizetype answerLines = 8192;     ///< further lines of one answer are dropped
constexpr qsizetype unsolicitedLines = 512; ///< further unsolicited lines are dropped until these are handled
constexpr int storeEntries = 255;           ///< assumed when the modem does not tell the size of its store
constexpr int storeEntriesMost = 10000;     ///< a larger size told by the modem is not believed
constexpr qsizetype rememberedCopies =
    8192; ///< handled messages that are known when the store shows them again
constexpr qsizetype directMessages = 1000; ///< messages without a stored copy that wait for their handler
} // namespace ModemBounds
