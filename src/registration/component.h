// A minimal component model: components have a name and an owner, an owner lists what it owns,
// and a component can ask to be told when another one goes away. This is what lets a report
// engine find the data-set links that sit beside it on the same form or container.
//
// Ownership here is a registry, not memory management: every C++ object is destroyed by whoever
// created it. Destroying an owner detaches its components; destroying a component removes it from
// its owner and sends a removal notification to everyone who asked for one.
#pragma once

#include <string>
#include <vector>

namespace quillet {

enum TOperation { opInsert, opRemove };

class TComponent {
 public:
  explicit TComponent(TComponent* Owner = nullptr);
  virtual ~TComponent();
  TComponent(const TComponent&) = delete;
  TComponent& operator=(const TComponent&) = delete;

  const std::string& Name() const noexcept { return FName; }
  void SetName(std::string Value) { FName = std::move(Value); }

  TComponent* Owner() const noexcept { return FOwner; }
  // The components this one owns, in the order they were created.
  const std::vector<TComponent*>& Components() const noexcept { return FComponents; }
  int ComponentCount() const noexcept { return static_cast<int>(FComponents.size()); }

  // Asks that Other's Notification(this, opRemove) be called when this component is destroyed.
  // The request is mutual, so neither side is left with a dangling entry.
  void FreeNotification(TComponent* Other);
  void RemoveFreeNotification(TComponent* Other);

 protected:
  // Called on every component that asked for it when AComponent is going away.
  virtual void Notification(TComponent* AComponent, TOperation Operation);

 private:
  void InsertComponent(TComponent* Child);
  void RemoveComponent(TComponent* Child);

  std::string FName;
  TComponent* FOwner = nullptr;
  std::vector<TComponent*> FComponents;
  std::vector<TComponent*> FFreeNotifies;
};

}  // namespace quillet
