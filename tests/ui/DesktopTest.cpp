// Alerts, panels and the tray's menu, as the user meets them.
#include <gmock/gmock.h>

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QTest>
#include <QTimer>
#include <fstream>

#include "fakes/FakeService.h"
#include "support/Eventually.h"
#include "support/TemporaryFolder.h"
#include "ui/QtOpenPanel.h"
#include "ui/QtWindows.h"
#include "ui/ShownWindow.h"

namespace quorvex::test {
namespace {

TEST(Alert, isAnsweredByKeyboardAndCancelledByItsClosing) {
  FakeDefaults defaults;
  QtWindows windows(defaults, [] {});
  const Alert alert{"Quit Quorvex Camera?", "Your virtual camera is live.", {"Quit", "Cancel"}};
  answerAlert(Qt::Key_Return);
  EXPECT_EQ(windows.runModal(alert), 0U);
  answerAlert(Qt::Key_Escape);
  EXPECT_EQ(windows.runModal(alert), 1U);
  QTimer::singleShot(20, [&] {
    EXPECT_EQ(windows.runModal(alert), 1U) << "one question at a time";
    QGuiApplication::modalWindow()->close();
  });
  EXPECT_EQ(windows.runModal(alert), 1U);
}

TEST(OpenPanel, offersImagesUnderThePromptAndSaysWhichWorkBest) {
  const TemporaryFolder folder;
  const std::string photo = folder / "Änna & Bob.png";
  std::ofstream(photo) << "photo";
  QtOpenPanel panel;
  const auto withDialog = [](auto act) {
    QTimer::singleShot(0, [act] {
      auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
      ASSERT_TRUE(dialog);
      act(*dialog);
    });
  };
  withDialog([&photo](QFileDialog& dialog) {
    EXPECT_EQ(dialog.labelText(QFileDialog::Accept), "Use Face");
    EXPECT_TRUE(dialog.nameFilters().front().contains("*.heic"));
    EXPECT_EQ(dialog.findChild<QLabel*>("message")->text(), "Pick a clear photo.");
    dialog.selectFile(QString::fromStdString(photo));
    QMetaObject::invokeMethod(&dialog, "accept");
  });
  EXPECT_EQ(panel.chooseImage("Use Face", "Pick a clear photo."), photo);
  withDialog([](QFileDialog& dialog) { dialog.reject(); });
  EXPECT_EQ(panel.chooseImage("Use Face", ""), std::nullopt);
}

TEST(StatusItem, showsItsMenuAsItIsDescribed) {
  struct Target : MenuTarget {
    bool validateMenuItem(MenuItem&) const override { return true; }
    void perform(MenuAction action) override { performed = action; }
    MenuAction performed = MenuAction::none;
  };
  FakeDefaults defaults;
  QtWindows windows(defaults, [] {});
  const auto target = std::make_shared<Target>();
  windows.setStatusMenu({"",
                         {{.title = "Quorvex Camera — Starting…", .enabled = false},
                          {},
                          {.title = "Face: A & B", .checked = true},
                          {"Quit", MenuAction::quit, "q"}}},
                        target);
  windows.setStatusTitle("Quorvex Camera — In queue — #3");
  const auto actions = windows.statusMenu()->actions();
  EXPECT_EQ(actions[0]->text(), "Quorvex Camera — In queue — #3");
  EXPECT_FALSE(actions[0]->isEnabled());
  EXPECT_TRUE(actions[1]->isSeparator());
  EXPECT_TRUE(actions[2]->isChecked());
  EXPECT_EQ(actions[2]->text(), "Face: A && B") << "or the letter behind it were a key";
  actions[3]->trigger();
  EXPECT_EQ(target->performed, MenuAction::quit);
}

}  // namespace
}  // namespace quorvex::test
