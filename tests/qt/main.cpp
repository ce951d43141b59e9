#include <gtest/gtest.h>

#include <QCoreApplication>

#ifdef __SANITIZE_THREAD__
/// Qt and what it stands on are not built with the sanitizer, which does not see how they
/// synchronise. Our own hand-over between threads is seen.
extern "C" const char* __tsan_default_suppressions() {
  return "called_from_lib:libQt6Core.so\ncalled_from_lib:libQt6Network.so\n"
         "called_from_lib:libQt6WebSockets.so\ncalled_from_lib:libqopensslbackend.so\n"
         "called_from_lib:libglib-2.0.so\nrace:libQt6\nrace:libglib-2.0.so\n";
}
#endif

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  QCoreApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
