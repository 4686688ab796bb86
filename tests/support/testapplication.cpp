#include "tests/support/testapplication.h"

#if !defined(__SANITIZE_THREAD__)

bool TestApplication::notify(QObject *receiver, QEvent *event)
{
    return QApplication::notify(receiver, event);
}

#else

#include <QFuture>
#include <QMetaObject>
#include <QThreadPool>

#include <dlfcn.h>

extern "C" void __tsan_acquire(void *address);
extern "C" void __tsan_release(void *address);

namespace
{

// Qt's function of this name. A member function is called like a free one with `this` first.
template <class Function> Function *original(const char *name)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

char handover;

} // namespace

// An event may bring what the thread that posted it has made.
bool TestApplication::notify(QObject *receiver, QEvent *event)
{
    __tsan_acquire(&handover);
    return QApplication::notify(receiver, event);
}

// The functions below stand in front of Qt's own.

void QThreadPool::start(std::function<void()> work, int priority)
{
    static const auto next =
        original<void(QThreadPool *, QRunnable *, int)>("_ZN11QThreadPool5startEP9QRunnablei");
    class Work : public QRunnable
    {
    public:
        explicit Work(std::function<void()> call) : work(std::move(call)) {}
        void run() override
        {
            __tsan_acquire(&handover);
            work();
            __tsan_release(&handover);
        }

    private:
        std::function<void()> work;
    };
    auto *runnable = new Work(std::move(work));
    __tsan_release(&handover);
    next(this, runnable, priority);
}

void QFutureInterfaceBase::reportFinished()
{
    static const auto next =
        original<void(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase14reportFinishedEv");
    __tsan_release(&handover);
    next(this);
}

void QFutureInterfaceBase::waitForFinished()
{
    static const auto next =
        original<void(QFutureInterfaceBase *)>("_ZN20QFutureInterfaceBase15waitForFinishedEv");
    next(this);
    __tsan_acquire(&handover);
}

bool QThreadPool::waitForDone(int milliseconds)
{
    static const auto next = original<bool(QThreadPool *, int)>("_ZN11QThreadPool11waitForDoneEi");
    const bool done = next(this, milliseconds);
    __tsan_acquire(&handover);
    return done;
}

bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot,
                                   Qt::ConnectionType type, void *result)
{
    static const auto next =
        original<bool(QObject *, QtPrivate::QSlotObjectBase *, Qt::ConnectionType, void *)>(
            "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14Connec"
            "tionTypeEPv");
    __tsan_release(&handover);
    return next(object, slot, type, result);
}

#endif
