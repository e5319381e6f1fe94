// What is said beside a note or a heading: one line in a quieter colour, cut with an ellipsis where it does
// not fit and whole in its tool tip.
//
// Main thread only.
#pragma once

#include <QLabel>

namespace lumato::app {

class DetailLabel : public QLabel {
    Q_OBJECT

  public:
    explicit DetailLabel(QWidget* parent = nullptr);

    void SetDetail(const QString& text);

    [[nodiscard]] QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }

  protected:
    void paintEvent(QPaintEvent* event) override;
};

}  // namespace lumato::app
