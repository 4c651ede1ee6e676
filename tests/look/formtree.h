#pragma once

#include <QStringList>

// A form file as lines of text, one for each widget, layout and spacer in the order in which they
// are built, indented by one dot per level:
//
//     frame QFrame policy=Preferred,Maximum frameShape=QFrame::StyledPanel
//     .verticalLayout QVBoxLayout margins=25,0,20,0 spacing=0
//     ..spacer 30x30 Minimum,Fixed
//     ..[1,0]label QLabel min=0x20 max=Infx20 text=""
//
// Margins and spacings that the form leaves to the style are written "-", sizes w x h with "Inf"
// for QWIDGETSIZE_MAX, line breaks in texts as \n, texts that are not translated with "notr" before
// them, stretches of a size policy after it unless both are 0. Spacers have the horizontal and
// vertical policy that uic sets. Everything else in a form is listed by its name: every change of a
// form changes its tree, except for the names of spacers and an enumeration's value that is written
// as a set of one.
QStringList formTree(const QString& fileName);

// Class, base class and header of each promoted class, "Compass QwtCompass calibration/Compass.h".
QStringList promotedClasses(const QString& fileName);

// The parts of a form other than its widgets, its promoted classes and empty lists: tab order,
// connections, defaults of layouts, ...
QStringList otherParts(const QString& fileName);
