#include "designer/expression_editor.h"

#include <QDialogButtonBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QVBoxLayout>
#include <utility>

#include "engine/builtin_variables.h"
#include "engine/report_engine.h"
#include "expr/date_time.h"
#include "expr/formatting.h"

namespace quillet::designer {

namespace {

QString Utf8(const std::string& S) { return QString::fromUtf8(S.data(), static_cast<qsizetype>(S.size())); }

bool SameAscii(std::string_view A, std::string_view B) {
  if (A.size() != B.size()) return false;
  for (size_t i = 0; i < A.size(); ++i) {
    char X = A[i], Y = B[i];
    if (X >= 'A' && X <= 'Z') X = static_cast<char>(X - 'A' + 'a');
    if (Y >= 'A' && Y <= 'Z') Y = static_cast<char>(Y - 'A' + 'a');
    if (X != Y) return false;
  }
  return true;
}

// A field of the schema: "Source.field", or a bare "field" of any source (the engine looks a bare
// name up in the current data set, and "Other.field" falls back to it too).
bool IsSchemaField(const std::vector<TDataSourceSchema>& Sources, const std::string& Name) {
  const size_t Dot = Name.find('.');
  const std::string_view Field =
      Dot == std::string::npos ? std::string_view(Name) : std::string_view(Name).substr(Dot + 1);
  for (const TDataSourceSchema& S : Sources)
    for (const std::string& F : S.Fields)
      if (SameAscii(F, Field)) return true;
  return false;
}

// The built-in variables as a run would give them on its first page.
TExprValue BuiltinValue(TBuiltinVariable V) {
  switch (V) {
    case bvDate: return TExprValue::FromString(FormatDateTime("dd.mm.yyyy", NowDateTime()));
    case bvTime: return TExprValue::FromString(FormatDateTime("hh:nn", NowDateTime()));
    case bvDateTime: return TExprValue::FromString(FormatDateTime("dd.mm.yyyy hh:nn", NowDateTime()));
    case bvPageNo:
    case bvTotalPages: return TExprValue::FromString("1");
    case bvRecordNo: return TExprValue::FromInt(1);
  }
  return TExprValue::Null();
}

}  // namespace

std::string TExprCheck::Line() const {
  if (Ok) return "Value: " + Value;
  return "position " + std::to_string(Position) + ": " + Problem;
}

std::vector<std::string> QualifiedFieldNames(const std::vector<TDataSourceSchema>& Sources) {
  std::vector<std::string> Names;
  for (const TDataSourceSchema& S : Sources)
    for (const std::string& F : S.Fields) Names.push_back(S.Name + "." + F);
  return Names;
}

TExprCheck CheckExpression(const std::string& Text, TExprMode Mode, const TExprContext& Context) {
  const TGetIdentValueFunc FieldFunc = [&Context](const std::string& Name, TExprValue& Value) {
    if (Context.FieldValue && Context.FieldValue(Name, Value)) return true;
    if (!IsSchemaField(Context.Sources, Name)) return false;
    Value = TExprValue::Empty();
    return true;
  };
  const TGetIdentValueFunc VarFunc = [&Context](const std::string& Name, TExprValue& Value) {
    if (const auto B = FindBuiltinVariable(Name)) {
      Value = BuiltinValue(*B);
      return true;
    }
    for (const std::string& V : Context.Variables)
      if (V == Name) {
        Value = TExprValue::Empty();
        return true;
      }
    return false;
  };
  const TAggregateFunc NoAggregates;

  TExprCheck Result;
  if (Mode == TExprMode::Template) {
    std::vector<TTextProblem> Problems;
    Result.Value = EvalText(Text, FieldFunc, VarFunc, NoAggregates, &Problems);
    if (!Problems.empty()) {
      Result.Ok = false;
      Result.Position = Problems.front().Start + Problems.front().Problem.Position;
      Result.Problem = DescribeExprProblem(Problems.front().Problem);
    }
  } else {
    TExprProblem Problem;
    const TExprValue V = EvalExpression(Text, FieldFunc, VarFunc, NoAggregates, &Problem);
    Result.Value = V.IsNull() ? std::string("(null)") : V.ToText();
    if (Problem) {
      Result.Ok = false;
      Result.Position = Problem.Position;
      Result.Problem = DescribeExprProblem(Problem);
    }
  }
  return Result;
}

TExpressionEditor::TExpressionEditor(const QString& Text, TExprMode Mode, TExprContext Context, QWidget* Parent)
    : QDialog(Parent), FMode(Mode), FContext(std::move(Context)) {
  setWindowTitle(Mode == TExprMode::Template ? tr("Text") : tr("Expression"));
  FText = new QPlainTextEdit(this);
  FText->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
  FText->setPlainText(Text);
  FText->moveCursor(QTextCursor::End);
  FText->setMinimumHeight(60);
  FCheck = new QLabel(this);
  FCheck->setTextInteractionFlags(Qt::TextSelectableByMouse);
  FCheck->setWordWrap(true);

  auto list = [this](const QString& Title, const std::vector<std::string>& Names, bool IsFunction, QWidget* Parent) {
    auto* box = new QWidget(Parent);
    auto* l = new QVBoxLayout(box);
    l->setContentsMargins(0, 0, 0, 0);
    l->addWidget(new QLabel(Title, box));
    auto* w = new QListWidget(box);
    for (const std::string& N : Names) w->addItem(Utf8(N));
    connect(w, &QListWidget::itemDoubleClicked, this,
            [this, IsFunction](QListWidgetItem* Item) { InsertName(Item->text(), IsFunction); });
    l->addWidget(w);
    return std::pair{box, w};
  };
  auto* lists = new QSplitter(Qt::Horizontal, this);
  std::vector<std::string> vars = SystemVariableNames();
  vars.insert(vars.end(), FContext.Variables.begin(), FContext.Variables.end());
  auto [fnBox, fn] = list(tr("Functions"), FunctionNames(), true, lists);
  auto [fieldBox, fields] = list(tr("Fields"), QualifiedFieldNames(FContext.Sources), false, lists);
  auto [varBox, var] = list(tr("Variables"), vars, false, lists);
  FFunctions = fn;
  FFields = fields;
  FVariables = var;
  lists->addWidget(fnBox);
  lists->addWidget(fieldBox);
  lists->addWidget(varBox);

  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
  connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
  connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);

  auto* layout = new QVBoxLayout(this);
  layout->addWidget(FText, 1);
  layout->addWidget(FCheck);
  layout->addWidget(lists, 2);
  layout->addWidget(buttons);
  connect(FText, &QPlainTextEdit::textChanged, this, &TExpressionEditor::UpdateCheck);
  UpdateCheck();
  resize(620, 420);
}

QString TExpressionEditor::Text() const { return FText->toPlainText(); }

void TExpressionEditor::SetText(const QString& Text) {
  FText->setPlainText(Text);
  FText->moveCursor(QTextCursor::End);
}

QString TExpressionEditor::CheckLine() const { return FCheck->text(); }

void TExpressionEditor::InsertName(const QString& Name, bool IsFunction) {
  QTextCursor cursor = FText->textCursor();
  bool inPlaceholder = FMode == TExprMode::Expression;
  if (!inPlaceholder) {
    const QString before = FText->toPlainText().left(cursor.position());
    inPlaceholder = before.lastIndexOf('[') > before.lastIndexOf(']');
  }
  const QString open = inPlaceholder ? QString() : QStringLiteral("[");
  const QString close = inPlaceholder ? QString() : QStringLiteral("]");
  if (IsFunction) {
    cursor.insertText(open + Name + "(" + ")" + close);
    cursor.movePosition(QTextCursor::Left, QTextCursor::MoveAnchor, 1 + close.size());
  } else {
    cursor.insertText(open + Name + close);
  }
  FText->setTextCursor(cursor);
  FText->setFocus();
}

void TExpressionEditor::UpdateCheck() {
  const TExprCheck check = CheckExpression(Text().toStdString(), FMode, FContext);
  FCheck->setText(Utf8(check.Line()));
  FCheck->setStyleSheet(check.Ok ? QString() : QStringLiteral("color: #b00020;"));
}

}  // namespace quillet::designer
