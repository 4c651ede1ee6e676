#pragma once

#include <QStringList>

// A form file as lines of text, one for each widget, layout and spacer in the order in which they
// are built, indented by a dot a level:
//
//     frame QFrame policy=Preferred,Maximum frameShape=QFrame::StyledPanel
//     .verticalLayout QVBoxLayout margins=25,0,20,0 spacing=0
//     ..spacer 30x30 Minimum,Fixed
//     ..[1,0]label QLabel min=0x20 max=Infx20 text=""
//
// Margins and spacings that the form leaves to the style are written "-", sizes w x h with "Inf"
// for QWIDGETSIZE_MAX, line breaks in texts as \n, texts that are not translated with "notr" in
// front, stretches of a size policy behind it unless both are 0. Spacers carry the horizontal and
// vertical policy that uic gives them. Whatever else a form holds shows by its name: no change of a
// form leaves its tree as it was, but for the names of spacers and for an enumeration's value
// written as a set of one.
QStringList formTree(const QString& fileName);

// Class, base class and header of each promoted class, "Compass QwtCompass calibration/Compass.h".
QStringList promotedClasses(const QString& fileName);

// What a form holds beside its widgets, its promoted classes and empty lists: tab order,
// connections, defaults of layouts, ...
QStringList otherParts(const QString& fileName);
