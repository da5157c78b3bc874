// The expression editor: a dialog for element texts ([expression] templates), data fields, group
// conditions and table cells. It lists the evaluator's functions, the fields of the data sources
// and the variables (double-click inserts at the cursor), and checks the text as it is typed: the
// line under it shows the value against the first record or the first problem, in the words
// `quillet eval --check` uses.
#pragma once

#include <QDialog>
#include <QString>
#include <string>
#include <vector>

#include "engine/designer_bridge.h"
#include "expr/expr_evaluator.h"

class QLabel;
class QListWidget;
class QListWidgetItem;
class QPlainTextEdit;

namespace quillet::designer {

// A template is literal text with [expression] placeholders (element texts, table cells); an
// expression is one expression (data fields, group conditions).
enum class TExprMode { Template, Expression };

// What names a text may use, and the values it is checked against.
struct TExprContext {
  std::vector<TDataSourceSchema> Sources;
  // The report's own variables besides the built-in ones, matched as spelled; they count as empty.
  std::vector<std::string> Variables;
  // The value of a field in the first record ("Orders.amount" or a bare "amount"). Without one,
  // or when it does not know a name, the fields of Sources count as known names with empty values.
  TGetIdentValueFunc FieldValue;
};

// The outcome of a check: the value, or the first problem and where it is.
struct TExprCheck {
  bool Ok = true;
  std::string Value;    // the text form of the value, "(null)" for null; the expanded template
  size_t Position = 0;  // 1-based byte position of the first problem in the text
  std::string Problem;  // DescribeExprProblem of the first problem
  // The line the editor shows: "Value: ..." or "position N: problem".
  std::string Line() const;
};

TExprCheck CheckExpression(const std::string& Text, TExprMode Mode, const TExprContext& Context);

// The names the lists offer: "Source.field" for every field of every source.
std::vector<std::string> QualifiedFieldNames(const std::vector<TDataSourceSchema>& Sources);

class TExpressionEditor : public QDialog {
  Q_OBJECT

 public:
  TExpressionEditor(const QString& Text, TExprMode Mode, TExprContext Context, QWidget* Parent = nullptr);

  QString Text() const;
  void SetText(const QString& Text);
  TExprMode Mode() const noexcept { return FMode; }
  // The check line as shown.
  QString CheckLine() const;

  QListWidget* Functions() const noexcept { return FFunctions; }
  QListWidget* Fields() const noexcept { return FFields; }
  QListWidget* Variables() const noexcept { return FVariables; }
  // What a double-click on a list entry does: inserts Name at the cursor; inside a template, in
  // brackets unless the cursor already is inside a placeholder. A function comes with its
  // parentheses and the cursor between them.
  void InsertName(const QString& Name, bool IsFunction);

 private:
  void UpdateCheck();

  TExprMode FMode;
  TExprContext FContext;
  QPlainTextEdit* FText = nullptr;
  QLabel* FCheck = nullptr;
  QListWidget* FFunctions = nullptr;
  QListWidget* FFields = nullptr;
  QListWidget* FVariables = nullptr;
};

}  // namespace quillet::designer
