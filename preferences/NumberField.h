#pragma once

#include <QLineEdit>

#include <functional>

namespace frameflow {

// A field for a number that decides whether an edit may end. While it may not, the field keeps the focus; leaving its
// page, or its window, drops the edit.
class NumberField : public QLineEdit
{
    Q_OBJECT

public:
    using Rule = std::function<bool(const QString& text)>;

    explicit NumberField(QWidget* parent = nullptr);

    // Asked at the end of every edit.
    void setRule(Rule rule) { mRule = std::move(rule); }
    // Unless a person is in the middle of an edit: then when that is over.
    void setValue(double value);

    // The number that a text begins with; 0 without one. A comma is as good as a point.
    static double numberIn(const QString& text);
    // Its whole part, cut, not rounded.
    static qint64 integerIn(const QString& text);

    QSize sizeHint() const override;

Q_SIGNALS:
    // A person has entered this number, and the rule accepts it.
    void valueEdited(double value);
    void refused(const QString& text);
    // What was refused has been corrected, or dropped.
    void settled();

protected:
    bool focusNextPrevChild(bool next) override;
    void focusOutEvent(QFocusEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    bool endEdit();
    void step(int by);
    void showValue();

    Rule mRule;
    double mValue = 0;
};

} // namespace frameflow
