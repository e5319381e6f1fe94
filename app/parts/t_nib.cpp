#include "app/parts/t_nib.h"

#include <QMainWindow>

#include "ui_main.h"

namespace lumato::app {
namespace {

constexpr OSStatus kNibNotFoundErr = -10960;

}  // namespace

TNib::TNib() = default;
TNib::~TNib() = default;

OSStatus TNib::Init(std::string_view name) {
    if (name != "main")
        return kNibNotFoundErr;
    m_description = std::make_unique<Ui::MainWindow>();
    return noErr;
}

OSStatus TNib::SetMenuBar(std::string_view name) const {
    return m_description != nullptr && name == "MenuBar" ? noErr : kNibNotFoundErr;
}

OSStatus TNib::CreateWindowFromNib(std::string_view name, QMainWindow& into) {
    if (m_description == nullptr || name != "MainWindow")
        return kNibNotFoundErr;
    m_description->setupUi(&into);
    return noErr;
}

}  // namespace lumato::app
