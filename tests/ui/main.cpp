#include <gtest/gtest.h>

#include <QApplication>

#ifdef __SANITIZE_ADDRESS__
/// What Qt's own painting of a scene holds when the process ends.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:libQt6Gui.so\nleak:libQt6Quick.so\nleak:QtSharedPointer::ExternalRefCountData";
}
#endif

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("QT_QUICK_BACKEND", "software");
  QApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
