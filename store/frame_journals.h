// The journals that may be the connected frame's, and the one that it is given.
//
// A journal is the frame's own when the system knows both as the same individual; or, where it knows one of
// them by nothing, when what the frame holds proves it. Any other is only borrowed: its pictures are offered,
// and it is left as it is, for the frame that it may belong to; what is to be kept from then on goes into a
// new one. Used by the thread that owns the store.
#pragma once

#include <string>
#include <vector>

#include "store/journal_evidence.h"

namespace lumato::store {

struct FrameJournal {
    Path folder;
    Journal journal;
};

struct ContentMatch {
    const FrameJournal* found = nullptr;  // null: none is
    bool evident = false;                 // the frame holds what it speaks of
};

class FrameJournals {
  public:
    // Those of the frame's model; nothing is claimed. What was damaged and has been put aside, for people.
    // Errors: Unreadable: to go on without a journal that is there would be to take its pictures for lost.
    [[nodiscard]] Result<Phrase> Load();
    // The same, of what can be read, with every file left as it is.
    [[nodiscard]] Result<void> LookAt();

    // Those that name the frame's table, the best first.
    [[nodiscard]] std::vector<const FrameJournal*> NamingTable() const;
    // The one that a frame without a valid table is given. Errors: the frame cannot be read.
    [[nodiscard]] Result<ContentMatch> MatchingContents() const;

    // The store keeps this journal from now on, in its folder or, when it is borrowed, in a new one.
    void Claim(const FrameJournal& found, bool evident);
    void Release();
    // The frame has proved that all of the claimed journal is done.
    void DropClaimed();

    // That there are journals which do not fit and are kept; empty when there are none.
    [[nodiscard]] Phrase KeptText() const;

  private:
    std::vector<FrameJournal> m_journals;
    const FrameJournal* m_claimed = nullptr;
    int m_unknown = 0;  // of another version of this program, of whatever frame
};

// After a download, whose table and list the frame holds now: ends the journals that it has proved complete,
// the store's own first. `before`: the table that it had when it was connected.
void DropFinishedJournals(ByteSpan before);

}  // namespace lumato::store
