#include "camera/DetectionThread.h"

void DetectionThread::run()
{
    if (!mutex.tryLock(0)) {
        return;
    }
    devices = om::Camera::getDeviceList();
    mutex.unlock();
}
