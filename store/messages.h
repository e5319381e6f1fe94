// The status notes of this room: their keys in the language file and their built-in English texts.
//
// Constants; any thread.
#pragma once

#include "base/phrase.h"

namespace lumato::store {

inline constexpr Words kDeviceOnline{"DEVICE_ONLINE_TIPS", "Device Online"};
inline constexpr Words kDeviceNotOnline{"DEVICE_NOT_ONLINE_TIPS", "Device Not Online!"};
inline constexpr Words kInformationFailed{"READ_INITIAL_INFO_FALSE_TIPS",
                                          "Read Initializtion Information false!"};
inline constexpr Words kTableFailed{"READ_PICS_LIST_FALSE_TIPS", "Read Picture List false!"};
inline constexpr Words kReadBackFailed{"READ_PICS_FALSE_TIPS", "Read picture(s) false"};

inline constexpr Words kReadPictures{"READ_PICTURES_TIPS", "Read Picture(s)"};
inline constexpr Words kReadPicture{"READ_PICTURES_TIPS", "Read Picture:"};
inline constexpr Words kPicturesInFrame{"PICTURES_IN_LUMATO_TIPS", "Picture(s) In Lumato"};
inline constexpr Words kNoPictures{"NO_PICTURES_TIPS", "No Picture"};

inline constexpr Words kDownloadBrokenOff{"DOWNLOAD_BROKEN_OFF_TIPS",
                                          "A download broke off. No picture is lost: press Download"};
inline constexpr Words kWaitingBack{"WAITING_PICS_TIPS",
                                    "Pictures not yet on the frame are back in the list"};
inline constexpr Words kJournalDamaged{"DAMAGED_JOURNAL_TIPS", "A damaged recovery file was put aside"};
inline constexpr Words kJournalsKept{"KEPT_JOURNALS_TIPS",
                                     "Recovery files that do not fit this frame are kept"};

inline constexpr Words kDownloadStarted{"DOWNLOAD_PICS_TIPS", "Download Pictures(s)"};
inline constexpr Words kDownloadFinished{"DOWNLOAD_FINISHED_TIPS", "DownLoad Finished!"};
// One key, told apart by the built-in texts.
inline constexpr Words kTableBlockUnreadable{"FAILE_TO_DOWNLOAD_PICS_TIPS", "Fail To Dowload Picture!"};
inline constexpr Words kDownloadFailed{"FAILE_TO_DOWNLOAD_PICS_TIPS", "Fail To Download Picture"};
inline constexpr Words kBlockFailed{"FAILE_TO_DOWNLOAD_PICS_TIPS", "Fail To Download Picture!"};
inline constexpr Words kLastBlockFailed{"FAILE_TO_DOWNLOAD_PICS_TIPS", "Fail To Download Pictures!"};

inline constexpr Words kDownloadStopped{"DOWNLOAD_STOPPED_TIPS", "Download stopped"};

inline constexpr Words kRemaining{"THE_SEQUENCE_TIPS", "The sequence number"};

inline constexpr Words kReadingStopped{"READING_STOPPED_TIPS", "Reading stopped"};

// Reasons that several operations have.
inline constexpr Words kNoFrame{"NO_FRAME_CONNECTED", "no frame is connected"};
inline constexpr Words kFrameGone{"FRAME_GONE", "the frame is no longer connected"};
inline constexpr Words kFrameUnreadable{"FRAME_NOT_READ", "the frame could not be read"};
inline constexpr Words kOtherBytes{"FRAME_GAVE_OTHER_BYTES",
                                   "the frame gave other bytes than its pictures have"};
inline constexpr Words kTableUnreadable{"TABLE_NOT_READ", "the frame's picture table could not be read"};
inline constexpr Words kPictureUnreadable{"PICTURE_NOT_READ", "a picture could not be read from the frame"};
inline constexpr Words kJournalIsDamaged{"JOURNAL_DAMAGED", "the recovery journal is damaged"};
inline constexpr Words kLocalFileChanged{"LOCAL_FILE_CHANGED",
                                         "the picture's local file was changed; connect the frame anew"};
inline constexpr Words kMayUnplug{"MAY_UNPLUG", "you may unplug the frame now"};
inline constexpr Words kDownloadFirst{"DOWNLOAD_FIRST", "a download comes first"};

// Shows the status note.
void ShowNote(const Phrase& note);
// As "text: number".
void ShowNote(const Words& note, int number);
// With the reason beside it, in plain words; a frame that has vanished explains everything.
void ShowFailure(const Phrase& note, const Phrase& reason);

// Has the number fields shown anew; in an empty list nothing is selected.
void ShowNumbers();

}  // namespace lumato::store
