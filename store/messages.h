// The status notes of this room: their keys in the language file and their built-in English texts.
#pragma once

#include <string_view>

namespace lumato::store {

struct Message {
    std::string_view key;
    std::string_view defaultText;
};

inline constexpr Message kDeviceOnline{"DEVICE_ONLINE_TIPS", "Device Online"};
inline constexpr Message kDeviceNotOnline{"DEVICE_NOT_ONLINE_TIPS", "Device Not Online!"};
inline constexpr Message kInformationFailed{"READ_INITIAL_INFO_FALSE_TIPS",
                                            "Read Initializtion Information false!"};
inline constexpr Message kTableFailed{"READ_PICS_LIST_FALSE_TIPS", "Read Picture List false!"};
inline constexpr Message kReadBackFailed{"READ_PICS_FALSE_TIPS", "Read picture(s) false"};

inline constexpr Message kReadPictures{"READ_PICTURES_TIPS", "Read Picture(s)"};
inline constexpr Message kReadPicture{"READ_PICTURES_TIPS", "Read Picture:"};
inline constexpr Message kPicturesInFrame{"PICTURES_IN_LUMATO_TIPS", "Picture(s) In Lumato"};
inline constexpr Message kNoPictures{"NO_PICTURES_TIPS", "No Picture"};

inline constexpr Message kDownloadBrokenOff{"DOWNLOAD_BROKEN_OFF_TIPS",
                                            "A download broke off. No picture is lost: press Download"};
inline constexpr Message kWaitingBack{"WAITING_PICS_TIPS",
                                      "Pictures not yet on the frame are back in the list"};
inline constexpr Message kJournalDamaged{"DAMAGED_JOURNAL_TIPS", "A damaged recovery file was put aside"};
inline constexpr Message kJournalsKept{"KEPT_JOURNALS_TIPS",
                                       "Recovery files that do not fit this frame are kept"};

inline constexpr Message kDownloadStarted{"DOWNLOAD_PICS_TIPS", "Download Pictures(s)"};
inline constexpr Message kDownloadFinished{"DOWNLOAD_FINISHED_TIPS", "DownLoad Finished!"};
// One key, told apart by the built-in texts.
inline constexpr Message kTableBlockUnreadable{"FAILE_TO_DOWNLOAD_PICS_TIPS", "Fail To Dowload Picture!"};
inline constexpr Message kDownloadFailed{"FAILE_TO_DOWNLOAD_PICS_TIPS", "Fail To Download Picture"};
inline constexpr Message kBlockFailed{"FAILE_TO_DOWNLOAD_PICS_TIPS", "Fail To Download Picture!"};
inline constexpr Message kLastBlockFailed{"FAILE_TO_DOWNLOAD_PICS_TIPS", "Fail To Download Pictures!"};

inline constexpr Message kDownloadStopped{"DOWNLOAD_STOPPED_TIPS", "Download stopped"};

inline constexpr Message kRemaining{"THE_SEQUENCE_TIPS", "The sequence number"};

// Shows the text in the user's language as the status note.
void ShowNote(const Message& message);
// As "text: number".
void ShowNote(const Message& message, int number);
// With the reason beside it, in plain words; a frame that has vanished explains everything.
void ShowFailure(const Message& message, std::string_view reason);

// Has the number fields shown anew; in an empty list nothing is selected.
void ShowNumbers();

}  // namespace lumato::store
