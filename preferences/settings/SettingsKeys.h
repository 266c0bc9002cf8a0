#pragma once

#include <QString>

// The one table of the keys under which settings are stored, and of the values that the enumerated ones take.
namespace frameflow::keys {

// clang-format off
inline const QString slideInterval = QStringLiteral("slideInterval");             // seconds, float
inline const QString sort = QStringLiteral("sort");                               // sortBy...; anything else: random
inline const QString endMode = QStringLiteral("EndMode");                         // endMode...; absent: wait
inline const QString transition = QStringLiteral("transition");                   // a transition's title
inline const QString cursor = QStringLiteral("cursor");                           // name of a cursor picture
inline const QString imageFitMode = QStringLiteral("ImageFitMode");               // fitMode...; absent: fit
inline const QString maxFolderLevel = QStringLiteral("MaxFolderLevel");           // integer; 0 or less: no limit
inline const QString showNewItemsASAP = QStringLiteral("showNewItemsASAP");       // boolean
inline const QString autoStart = QStringLiteral("autoStart");                     // boolean
inline const QString showAdds = QStringLiteral("ShowAdds");                       // boolean
inline const QString addInterval = QStringLiteral("AddInterval");                 // integer, slides between two ads
inline const QString addFolder = QStringLiteral("KLAddFolder");                   // data, bookmark of the ad folder
inline const QString showFilePath = QStringLiteral("showFilePath");               // boolean
inline const QString showFileName = QStringLiteral("showFileName");               // boolean
inline const QString imageEditorPath = QStringLiteral("ImageEditorPath");         // path; absent: the desktop's choice
inline const QString movieEditorPath = QStringLiteral("MovieEditorPath");         // path; absent: the desktop's choice
inline const QString recentFolderBookmarks = QStringLiteral("RecentFolderBookmarks"); // array of data, newest first
inline const QString lastUsedOpenDirectory = QStringLiteral("lastUsedOpenDirectory"); // absolute URL text
inline const QString openLastUsedFolder = QStringLiteral("OpenLastUsedFolder");   // boolean
inline const QString showWelcome = QStringLiteral("ShowWelcome");                 // boolean; absent: true
inline const QString hintsShown = QStringLiteral("HintsShown");                   // boolean
inline const QString screenRectFrame = QStringLiteral("KLScreenRectFrameTHING");  // rectangle text
inline const QString gridWindowRect = QStringLiteral("KLGridWindowRect");         // rectangle text
inline const QString autoCheckNewVersion = QStringLiteral("AutoCheckNewVersion"); // boolean; absent: true
inline const QString lastUpdateChecked = QStringLiteral("lastUpdateChecked");     // date
inline const QString ignoreVersion = QStringLiteral("IgnoreVersion");             // version text
inline const QString navLastRootDirectory = QStringLiteral("NSNavLastRootDirectory"); // path

inline const QString sortByName = QStringLiteral("name");
inline const QString sortByUrl = QStringLiteral("url");
inline const QString sortByDate = QStringLiteral("date");
inline const QString sortRandom = QStringLiteral("random");

inline const QString endModeWait = QStringLiteral("EndModeWait");
inline const QString endModeRewind = QStringLiteral("EndModeRewind");
inline const QString endModeClose = QStringLiteral("EndModeClose");

inline const QString fitModeFit = QStringLiteral("FitModeFit");
inline const QString fitModeZoom = QStringLiteral("FitModeZoom");
inline const QString fitModeFill = QStringLiteral("FitModeFill");
inline const QString fitModeStretch = QStringLiteral("FitModeStretch");
// clang-format on

} // namespace frameflow::keys
