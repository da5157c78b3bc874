#include "registration/component.h"

#include <algorithm>

namespace quillet {

namespace {

void EraseOne(std::vector<TComponent*>& List, TComponent* Item) {
  auto it = std::find(List.begin(), List.end(), Item);
  if (it != List.end()) List.erase(it);
}

}  // namespace

TComponent::TComponent(TComponent* Owner) {
  if (Owner) Owner->InsertComponent(this);
}

TComponent::~TComponent() {
  // Tell the others first, while this object is still whole enough to be compared against.
  const std::vector<TComponent*> notifies = FFreeNotifies;
  FFreeNotifies.clear();
  for (TComponent* other : notifies) {
    EraseOne(other->FFreeNotifies, this);
    other->Notification(this, opRemove);
  }
  for (TComponent* child : FComponents) child->FOwner = nullptr;
  FComponents.clear();
  if (FOwner) FOwner->RemoveComponent(this);
}

void TComponent::InsertComponent(TComponent* Child) {
  Child->FOwner = this;
  FComponents.push_back(Child);
}

void TComponent::RemoveComponent(TComponent* Child) {
  EraseOne(FComponents, Child);
  Child->FOwner = nullptr;
}

void TComponent::FreeNotification(TComponent* Other) {
  if (!Other || Other == this) return;
  if (std::find(FFreeNotifies.begin(), FFreeNotifies.end(), Other) == FFreeNotifies.end())
    FFreeNotifies.push_back(Other);
  if (std::find(Other->FFreeNotifies.begin(), Other->FFreeNotifies.end(), this) == Other->FFreeNotifies.end())
    Other->FFreeNotifies.push_back(this);
}

void TComponent::RemoveFreeNotification(TComponent* Other) {
  if (!Other) return;
  EraseOne(FFreeNotifies, Other);
  EraseOne(Other->FFreeNotifies, this);
}

void TComponent::Notification(TComponent*, TOperation) {}

}  // namespace quillet
