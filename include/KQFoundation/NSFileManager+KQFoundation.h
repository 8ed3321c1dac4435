#pragma once
// NSFileManager(KQFoundation): the file-system questions the scanners and the
// host ask, as members of kq::FileManager (declared in its category block in
// FileManager.h; defined in NSFileManager+KQFoundation.cpp and its Trash and
// Volumes parts):
//
// Sizes
//   sizeOfItemAtPath(path)        Logical bytes of a file, or of every entry of
//                                 a tree that is not a folder. Symbolic links are
//                                 not followed and count with their own length;
//                                 a file with several hard links in the tree
//                                 counts once per path. 0 when the path cannot
//                                 be opened; unreadable entries are skipped.
//
// Crash reports (through the current file-system layout)
//   crashReportFolderInDomain(d)  <last Library folder of d>/Logs/DiagnosticReports
//                                 when that exists, else .../Logs/CrashReporter.
//   crashReportHistoryFolderInDomain(d)
//                                 <last Application Support folder of d>/CrashReporter.
//   crashReportFolders()          Local report folder, local history folder,
//                                 user report folder, user history folder.
//                                 Built once per layout and kept.
//
// Dates
//   lastUsedDateOfTimeAtPath(p)   The "com.apple.metadata:kMDItemLastUsedDate"
//                                 extended attribute (a binary property list
//                                 holding a date) when present, else the access
//                                 time; nullopt (and a log line) when neither
//                                 can be read.
//
// Volumes (Linux: /proc/self/mountinfo and the block devices in /sys)
//   vMExtendedAttributes(f, p)    Flags of the volume holding p: bit 0 ejectable
//                                 (removable media, or any disk on an external
//                                 bus), bit 21 on an internal bus (ATA, NVMe,
//                                 virtio, PCI storage), bit 27 on an external
//                                 bus (USB, FireWire). 0 on success, -37 when the
//                                 path does not exist, else a negated errno.
//                                 Memory and network file systems have no flags.
//   isPathOnEjectableDiskDrive, isPathOnInternalDevice, isPathOnExternalDevice,
//   isPathOnStorageDevice (internal or external); false on any failure.
//
// Trash. Two flavours, chosen by the current layout:
//   * the Mac trash (~/.Trash, and <volume>/.Trashes/<uid> on other volumes)
//     when the layout inspects a Mac tree (its root is not "/"), or when the
//     layout's home already holds a .Trash folder (a Mac home on this machine);
//   * otherwise the freedesktop.org trash of the Linux desktop:
//     $XDG_DATA_HOME/Trash (default ~/.local/share/Trash; XDG_DATA_HOME is
//     honoured only when the layout's home is $HOME) with files/ and
//     info/<name>.trashinfo, and <volume>/.Trash/<uid> (when an administrator
//     made a sticky .Trash) or <volume>/.Trash-<uid> on other volumes.
//   <uid> is the running user's id; for a Mac tree, the owner of its home folder.
//   trashFolders()                The home trash, then the trash of each other
//                                 storage volume that has one (for a Mac tree:
//                                 its root and the folders in its /Volumes).
//                                 Built once per layout and kept.
//   isPathInTrash(p)              p ("~" expanded) lies strictly inside a trash folder.
//   moveItemAtPathToTrash(p, &d, &e)
//                                 The protected move every caller uses (kqu
//                                 trash, kqu leftovers --trash): one rename
//                                 (never replacing) into the trash of the
//                                 item's own volume (the home trash when it
//                                 shares the home's device). Nothing is ever
//                                 copied, replaced or deleted: across mounts
//                                 (EXDEV, as a bind mount gives) or on any other
//                                 failure the item stays whole, the trash as it
//                                 was, and e says why (kq::TrashError or errno).
//                                 Refused: paths ending in "." or "..", "/", the
//                                 home folder and folders holding it, the root
//                                 of a Mac tree and anything outside it (also
//                                 when named through links), items already in a
//                                 trash, and any item while the home is missing.
//                                 A name taken in the trash becomes "name 2.ext",
//                                 "name 3.ext"...; a name too long for the trash
//                                 (the freedesktop record adds ".trashinfo") is
//                                 cut, keeping the number and extension. The
//                                 original path is kept in the freedesktop
//                                 .trashinfo (written and flushed first: it
//                                 reserves the name, and is removed again if the
//                                 rename fails) or, in a Mac trash, in the moved
//                                 item's "kq.trash.putBackPath" extended attribute.
//
// Packages
//   isPathInFilePackage(p)        Some folder enclosing p (not p itself) is a
//                                 file package (kq::Workspace::isFilePackageAtPath).
#include "KQFoundation/System/FileManager.h"
