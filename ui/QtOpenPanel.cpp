#include "QtOpenPanel.h"

#include <QFileDialog>
#include <QLabel>
#include <QLayout>
#include <QStandardPaths>

namespace quorvex {

std::optional<std::string> QtOpenPanel::chooseImage(const std::string& prompt,
                                                    const std::string& message) {
  QFileDialog dialog;
  // A desktop's own dialog has no place for the message.
  dialog.setOption(QFileDialog::DontUseNativeDialog);
  dialog.setWindowTitle("Choose Face");
  dialog.setLabelText(QFileDialog::Accept, QString::fromStdString(prompt));
  dialog.setFileMode(QFileDialog::ExistingFile);
  dialog.setNameFilters(
      {"Images (*.jpg *.jpeg *.png *.webp *.tif *.tiff *.gif *.heic *.heif)", "All files (*)"});
  dialog.setDirectory(QStandardPaths::writableLocation(QStandardPaths::PicturesLocation));
  auto* label = new QLabel(QString::fromStdString(message), &dialog);
  label->setObjectName("message");
  label->setWordWrap(true);
  label->setMargin(10);
  dialog.layout()->setMenuBar(label);
  dialog.setWindowModality(Qt::ApplicationModal);
  if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) return std::nullopt;
  return QFile::encodeName(dialog.selectedFiles().front()).toStdString();
}

}  // namespace quorvex
