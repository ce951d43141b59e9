// Alerts, panels and the tray's menu, as the user meets them.
#include <gmock/gmock.h>

#include <QApplication>
#include <QFileDialog>
#include <QLabel>
#include <QTest>
#include <fstream>

#include "fakes/FakeService.h"
#include "support/TemporaryFolder.h"
#include "ui/QtOpenPanel.h"
#include "ui/QtWindows.h"
#include "ui/ShownWindow.h"

namespace quorvex::test {
namespace {

TEST(OpenPanel, offersImagesUnderThePromptAndSaysWhichWorkBest) {
  const TemporaryFolder folder;
  const std::string photo = folder / "Änna & Bob.png";
  std::ofstream(photo) << "photo";
  QtOpenPanel panel;
  const auto choose = [&](const char* end) {
    QTimer::singleShot(0, [end, &photo] {
      auto* dialog = qobject_cast<QFileDialog*>(QApplication::activeModalWidget());
      ASSERT_TRUE(dialog);
      EXPECT_EQ(dialog->labelText(QFileDialog::Accept), "Use Face");
      EXPECT_TRUE(dialog->nameFilters().front().contains("*.heic"));
      EXPECT_EQ(dialog->findChild<QLabel*>("message")->text(), "Pick a clear photo.");
      dialog->selectFile(QString::fromStdString(photo));
      QMetaObject::invokeMethod(dialog, end);
    });
    return panel.chooseImage("Use Face", "Pick a clear photo.");
  };
  EXPECT_EQ(choose("accept"), photo);
  EXPECT_EQ(choose("reject"), std::nullopt);
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
                          {"Face: A & B", MenuAction::quit, "q"}}},
                        target);
  windows.setStatusTitle("Quorvex Camera — In queue — #3");
  const auto actions = windows.statusMenu()->actions();
  EXPECT_EQ(actions[0]->text(), "Quorvex Camera — In queue — #3");
  EXPECT_FALSE(actions[0]->isEnabled());
  EXPECT_EQ(actions[2]->text(), "Face: A && B") << "or the letter behind it were a key";
  actions[2]->trigger();
  EXPECT_EQ(target->performed, MenuAction::quit);
}

}  // namespace
}  // namespace quorvex::test
