/// @file
/// The search for cameras on the machine.
#pragma once

#include "camera/camera_library.h"

#include <QMutex>
#include <QThread>

#include <vector>

/// Gets the library's list of cameras outside the interface thread, because this may take long.
/// Each start gets one list: the thread ends after it, and a start while a pass runs has no effect.
///
/// The owner waits for the thread before it destroys the object.
class DetectionThread : public QThread
{
    Q_OBJECT

public:
    /// Held while the list is read. Code that opens a camera also holds it, because the library's
    /// list must not be read during an open. A pass that finds it locked ends at once.
    QMutex mutex;

    /// The list of the last finished pass, in the library's order; empty at first. The interface
    /// thread copies it without the mutex: a pass is normally over by the next tick of the poll.
    std::vector<om::DeviceProperties> devices;

    /// One pass; does nothing if the mutex is held.
    void run() override;
};
