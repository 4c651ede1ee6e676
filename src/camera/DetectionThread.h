/// @file
/// The search for cameras on the machine.
#pragma once

#include "camera/camera_library.h"

#include <QMutex>
#include <QThread>

#include <vector>

/// Asks the library for its list of cameras, which may take long, away from the interface thread.
/// One list a start: the thread ends after it, and a start while a pass runs has no effect.
///
/// The owner waits for the thread before the object goes.
class DetectionThread : public QThread
{
    Q_OBJECT

public:
    /// Held while a list is taken. Whoever opens a camera holds it too, because the library must
    /// not be asked for its list during an open: a pass that finds it locked gives up at once.
    QMutex mutex;

    /// The list of the last finished pass, in the library's order; empty at first. The interface
    /// thread copies it without the mutex: a pass is normally over by the next tick of the poll.
    std::vector<om::DeviceProperties> devices;

    /// One pass; nothing when the mutex is held.
    void run() override;
};
