// VLItemCollection: a live, ordered view of the children of one container (or of the
// working set, or of a whole provider), as a platform reports it.
//
// The delegate is held weakly and called on the working queue, one callback at a time.
// startObserving() makes the collection deliver a first reload and then every change;
// stopObserving() ends delivery (no callback starts after it returns). items() is the
// ordering in force as of the callback being delivered. Platforms subclass this.
#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Dispatch/VLDispatchQueue.h"
#include "Dispatch/VLGuarded.h"
#include "Vaultline/VLItem.h"
#include "Vaultline/VLItemCollectionDelegate.h"
#include "Vaultline/VLSortDescriptor.h"

class VLItemCollection : public std::enable_shared_from_this<VLItemCollection> {
 public:
  virtual ~VLItemCollection() = default;

  void setDelegate(std::weak_ptr<VLItemCollectionDelegate> delegate);
  std::shared_ptr<VLItemCollectionDelegate> delegate() const;
  // Sets the serial queue on which callbacks arrive (a private queue until set).
  void setWorkingQueue(std::shared_ptr<VLDispatchQueue> queue);
  std::shared_ptr<VLDispatchQueue> workingQueue() const;

  virtual void startObserving() = 0;
  virtual void stopObserving() = 0;
  // Returns the current ordered items.
  virtual std::vector<VLItemRef> items() const = 0;
  // Orders the items by `descriptors` from now on.
  virtual void reorderItemsWithSortDescriptors(const std::vector<VLSortDescriptor>& descriptors) = 0;
  // A sentence, in the words of the collection's source, saying that the source has reported
  // nothing to this collection since its members came (or that they never came); empty when
  // it has, or when the source cannot tell. A check that waited in vain shows it beside its own
  // reason, so that a provider that never reports changes reads as such.
  virtual std::string silenceNote() const { return {}; }

 protected:
  VLItemCollection() = default;

 private:
  mutable std::mutex mutex_;  // for workingQueue_, made on first use
  VLGuarded<std::weak_ptr<VLItemCollectionDelegate>> delegate_;
  mutable std::shared_ptr<VLDispatchQueue> workingQueue_;  // guarded by mutex_; made on first use
};
