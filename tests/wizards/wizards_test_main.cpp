// The wizard tests share one QApplication, as the program does.
#include <QApplication>

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // The windows must not need a display: the tests run on build machines.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    // The offscreen platform warns about every window it cannot size natively.
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString& m) {
        if (!m.contains("does not support propagateSizeHints")) {
            qt_message_output(type, context, m);
        }
    });
    QApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
