// What the components offer a development environment at design time, through a small interface
// any host can implement: the palette, component editors (verbs on a component's context menu),
// property editors (the values a property offers), the splash screen, and what the host knows
// about the active project. The Qt module's Register (registration/qt/engine_editor.h) fills a
// host with the library's components.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "registration/component.h"

namespace quillet {

class IDesignHost;
class TReportEngine;

// A component class as a host sees it: its name, how to make one, and how to tell its instances.
struct TComponentClass {
  std::string Name;
  std::function<std::unique_ptr<TComponent>(TComponent* Owner)> Create;
  std::function<bool(const TComponent& Component)> IsInstance;
};

template <class T>
TComponentClass ComponentClassOf(std::string Name) {
  return {std::move(Name), [](TComponent* Owner) -> std::unique_ptr<TComponent> { return std::make_unique<T>(Owner); },
          [](const TComponent& C) { return dynamic_cast<const T*>(&C) != nullptr; }};
}

// The verbs a component offers on its context menu in the host's form designer.
class TComponentEditor {
 public:
  // Designer may be nullptr when no host is around (a program running the verb itself).
  TComponentEditor(TComponent& Component, IDesignHost* Designer) : FComponent(Component), FDesigner(Designer) {}
  virtual ~TComponentEditor() = default;
  TComponentEditor(const TComponentEditor&) = delete;
  TComponentEditor& operator=(const TComponentEditor&) = delete;

  virtual int GetVerbCount() const { return 0; }
  virtual std::string GetVerb(int /*Index*/) const { return {}; }
  virtual void ExecuteVerb(int /*Index*/) {}

  TComponent& Component() const noexcept { return FComponent; }
  IDesignHost* Designer() const noexcept { return FDesigner; }

 private:
  TComponent& FComponent;
  IDesignHost* FDesigner;
};

// A property's editor in the host's object inspector.
class TPropertyEditor {
 public:
  TPropertyEditor(TComponent& Component, IDesignHost* Designer) : FComponent(Component), FDesigner(Designer) {}
  virtual ~TPropertyEditor() = default;
  TPropertyEditor(const TPropertyEditor&) = delete;
  TPropertyEditor& operator=(const TPropertyEditor&) = delete;

  // Passes each value the property offers in its drop-down to Proc.
  virtual void GetValues(const std::function<void(const std::string& Value)>& /*Proc*/) {}

  TComponent& Component() const noexcept { return FComponent; }
  IDesignHost* Designer() const noexcept { return FDesigner; }

 private:
  TComponent& FComponent;
  IDesignHost* FDesigner;
};

using TComponentEditorFactory = std::function<std::unique_ptr<TComponentEditor>(TComponent& Component, IDesignHost* Designer)>;
using TPropertyEditorFactory = std::function<std::unique_ptr<TPropertyEditor>(TComponent& Component, IDesignHost* Designer)>;

// A development environment, as the components' registration sees it.
class IDesignHost {
 public:
  virtual ~IDesignHost() = default;

  // A line on the host's splash screen.
  virtual void AddSplashText(const std::string& Text) = 0;
  // Classes on the palette page Page.
  virtual void RegisterComponents(const std::string& Page, const std::vector<TComponentClass>& Classes) = 0;
  // The editor of the components of Class.
  virtual void RegisterComponentEditor(const TComponentClass& Class, TComponentEditorFactory Factory) = 0;
  // The editor of every property of type PropertyType named PropertyName of Class.
  virtual void RegisterPropertyEditor(const std::string& PropertyType, const TComponentClass& Class,
                                      const std::string& PropertyName, TPropertyEditorFactory Factory) = 0;

  // The active project's file; "" when the host cannot name one.
  virtual std::string ActiveProjectFile() const { return {}; }
  // An environment option of the host ("LibraryPath", "BrowsingPath", ...); "" when unknown.
  virtual std::string EnvironmentOption(const std::string& /*Name*/) const { return {}; }
};

// The drop-down of a data-set link's ReportEngine property: the names of the report engines
// that the link's owner holds (the engines on the same form), in component order.
class TReportEngineProperty : public TPropertyEditor {
 public:
  using TPropertyEditor::TPropertyEditor;
  void GetValues(const std::function<void(const std::string& Value)>& Proc) override;
};

}  // namespace quillet
