#pragma once
// The windows' small pictures, drawn here rather than shipped as image files
// so they stay sharp at any size and need no resource set of their own.

#include <QIcon>
#include <QPixmap>
#include <QString>

namespace wizards {

// The picture of a button face by its style word: "NEXT", "START", "FINISH",
// and "PREVIOUS" for the back button. Another word gives an empty icon.
QIcon FacePicture(const QString& style);

// The database drum: the windows' banner, the success mark of a database
// operation and the tree's picture of database files.
QPixmap DatabasePicture(int size);
// A round green tick, shown beside a finished operation's result.
QPixmap SuccessPicture(int size);
// The closed and the open folder of the restore window's tree.
QPixmap FolderPicture(int size, bool open);
// The tall picture on the left of every wizard page.
QPixmap BannerPicture(int width, int height);

} // namespace wizards
