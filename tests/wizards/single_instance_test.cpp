// One copy per user: a later copy must find the first, ask it forward and step
// back.

#include "support/temp_dir.h"
#include "wizards/single_instance.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QUuid>

#include <gtest/gtest.h>

namespace {

QString UniqueTitle() {
    return "OstrandTest-" + QUuid::createUuid().toString(QUuid::Id128).left(12);
}

// Also when a crashed copy left the socket's name taken in the file system
// with nobody listening: the first copy takes it over.
TEST(SingleInstance, ASecondCopyAsksTheFirstForwardAndRunsOnlyOnceTheFirstHasEnded) {
    for (bool leftover : {false, true}) {
        SCOPED_TRACE(leftover ? "after a crash" : "clean start");
        const QString title = UniqueTitle();
        if (leftover) {
            QFile stale(QDir::temp().filePath(wizards::SingleInstance(title).SocketName()));
            ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
        }
        {
            wizards::SingleInstance first(title);
            ASSERT_TRUE(first.Claim());
            QSignalSpy raised(&first, &wizards::SingleInstance::activationRequested);
            wizards::SingleInstance second(title);
            EXPECT_FALSE(second.Claim());
            EXPECT_TRUE(raised.count() > 0 || raised.wait(3000));
            EXPECT_TRUE(wizards::SingleInstance(UniqueTitle()).Claim()) << "another program";
        }
        EXPECT_TRUE(wizards::SingleInstance(title).Claim());
    }
}

} // namespace
