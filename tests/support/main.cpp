#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#if !defined(__SANITIZE_THREAD__)

using TestApplication = QApplication;

#else

#include <QFuture>
#include <QMetaObject>
#include <QThreadPool>

#include <dlfcn.h>

extern "C" void __tsan_acquire(void *address);
extern "C" void __tsan_release(void *address);

namespace
{

char handover;

// Hands over, calls Qt's function of this name, and takes what was handed over meanwhile. A member
// function is called like a free one with `this` first.
template <class Result, class... Arguments> Result handed(const char *name, Arguments... arguments)
{
    const struct Taking {
        ~Taking() { __tsan_acquire(&handover); }
    } taking;
    __tsan_release(&handover);
    return reinterpret_cast<Result (*)(Arguments...)>(dlsym(RTLD_NEXT, name))(arguments...);
}

// An event may bring what the thread that posted it has made.
struct TestApplication : QApplication {
    using QApplication::QApplication;
    bool notify(QObject *receiver, QEvent *event) override
    {
        __tsan_acquire(&handover);
        return QApplication::notify(receiver, event);
    }
};

} // namespace

// The functions below stand in front of Qt's own, by which one thread hands something to another.
// They tell ThreadSanitizer so; Qt is built without it, and it sees none of Qt's locks.

void QThreadPool::start(std::function<void()> work, int priority)
{
    QRunnable *const runnable = QRunnable::create([work = std::move(work)] {
        __tsan_acquire(&handover);
        work();
        __tsan_release(&handover);
    });
    handed<void>("_ZN11QThreadPool5startEP9QRunnablei", this, runnable, priority);
}

void QFutureInterfaceBase::reportFinished()
{
    handed<void>("_ZN20QFutureInterfaceBase14reportFinishedEv", this);
}

void QFutureInterfaceBase::waitForFinished()
{
    handed<void>("_ZN20QFutureInterfaceBase15waitForFinishedEv", this);
}

bool QThreadPool::waitForDone(int milliseconds)
{
    return handed<bool>("_ZN11QThreadPool11waitForDoneEi", this, milliseconds);
}

bool QMetaObject::invokeMethodImpl(QObject *object, QtPrivate::QSlotObjectBase *slot,
                                   Qt::ConnectionType type, void *result)
{
    return handed<bool>(
        "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14Connec"
        "tionTypeEPv",
        object, slot, type, result);
}

#endif

// Main function of the tests with widgets: one application, on Qt's offscreen platform unless
// another is set, and a temporary current directory for the scan files. The directory is in memory
// if possible, since each record of a scan file is synced.
int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    ::testing::InitGoogleTest(&argc, argv);
    TestApplication application(argc, argv);
    const QString memory = "/dev/shm";
    const QTemporaryDir folder((QFileInfo(memory).isWritable() ? memory : QDir::tempPath()) +
                               "/quarn_tests-XXXXXX");
    if (!folder.isValid() || !QDir::setCurrent(folder.path()))
        return 1;
    return RUN_ALL_TESTS();
}
