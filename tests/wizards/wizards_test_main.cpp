// The wizard tests share one QApplication, as the program does.
#include <QApplication>

#include <gtest/gtest.h>

namespace {

// The offscreen platform warns about every window it cannot size natively;
// the warnings say nothing about the windows under test.
void QuietHandler(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (message.contains("does not support propagateSizeHints")) {
        return;
    }
    qt_message_output(type, context, message);
}

} // namespace

int main(int argc, char** argv) {
    // The windows must not need a display: the tests run on build machines.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    qInstallMessageHandler(QuietHandler);
    QApplication app(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
