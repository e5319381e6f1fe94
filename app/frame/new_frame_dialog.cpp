#include "app/frame/new_frame_dialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QPushButton>
#include <array>

#include "app/parts/mnemonics.h"
#include "app/parts/texts.h"

namespace lumato::app {
namespace {

constexpr int kTitleButtons = 24;  // letters that a title bar's buttons take
constexpr int kSmallestSide = 16;
constexpr int kLargestSide = 4096;
constexpr std::array kFlashMegabytes = {1, 2, 4, 8};

QSpinBox* SideBox(QWidget* parent, int pixels) {
    auto* box = new QSpinBox(parent);
    box->setRange(kSmallestSide, kLargestSide);
    box->setValue(pixels);
    box->setSuffix(QStringLiteral(" px"));
    return box;
}

}  // namespace

NewFrameDialog::NewFrameDialog(QWidget* parent)
    : QDialog(parent),
      m_width(SideBox(this, 480)),
      m_height(SideBox(this, 234)),
      m_flash(new QComboBox(this)) {
    setWindowTitle(Localized("NEW_FRAME_TITLE", "New virtual frame"));
    for (const int megabytes : kFlashMegabytes)
        m_flash->addItem(QStringLiteral("%1 MB").arg(megabytes), megabytes);
    m_flash->setCurrentIndex(2);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(Localized("NEW_FRAME_CREATE", "Create…"));
    buttons->button(QDialogButtonBox::Cancel)->setText(Localized("CANCLE_BUTTON", "Canle"));
    for (QAbstractButton* button : buttons->buttons())
        button->setIcon({});  // those that some icon themes have look like anything but these two
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* form = new QFormLayout(this);
    form->addRow(Localized("NEW_FRAME_WIDTH", "Screen width:"), m_width);
    form->addRow(Localized("NEW_FRAME_HEIGHT", "Screen height:"), m_height);
    form->addRow(Localized("NEW_FRAME_FLASH", "Memory:"), m_flash);
    form->addRow(buttons);
    GiveLetters(*this);
    // Wide enough for the title, which the desktop would cut.
    setMinimumWidth(fontMetrics().horizontalAdvance(windowTitle()) +
                    fontMetrics().averageCharWidth() * kTitleButtons);
}

vframe::NewFrame NewFrameDialog::Options() const {
    vframe::NewFrame options;
    options.lcdWidth = static_cast<std::uint32_t>(m_width->value());
    options.lcdHeight = static_cast<std::uint32_t>(m_height->value());
    options.flashSize = static_cast<std::uint32_t>(m_flash->currentData().toInt()) << 20;
    return options;
}

}  // namespace lumato::app
