#include <gtest/gtest.h>

#include <QCoreApplication>

#include "qt/DefaultsWriter.h"

int main(int argc, char** argv) {
  if (argc == 3 && std::string_view(argv[1]) == quorvex::test::kWriteDefaults) {
    quorvex::test::writeDefaultsForever(argv[2]);
  }
  testing::InitGoogleTest(&argc, argv);
  QCoreApplication application(argc, argv);
  return RUN_ALL_TESTS();
}
