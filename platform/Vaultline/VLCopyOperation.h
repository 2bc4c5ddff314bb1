// VLCopyOperation: imports local files, folders and packages into a destination folder.
//
// When it completes, transferResults() maps each source URL to the item created for it and
// errorsByItem() maps each source URL that failed to its error; both are set before any
// completion callback runs.
#pragma once

#include <map>

#include "Core/VLURL.h"
#include "Vaultline/VLActionOperation.h"

class VLCopyOperation : public VLActionOperation {
 public:
  using TransferResults = std::map<VLURL, VLItemRef>;
  using ErrorsByItem = std::map<VLURL, VLErrorRef>;

  // initWithURLs:destinationFolder:. Throws VLException on revisions without it.
  static std::shared_ptr<VLCopyOperation> makeWithURLs(std::vector<VLURL> urls, VLItemRef destinationFolder);
  // initWithSourceURLs:destinationFolder: (the older form). Throws VLException on revisions without it.
  static std::shared_ptr<VLCopyOperation> makeWithSourceURLs(std::vector<VLURL> urls, VLItemRef destinationFolder);
  // initWithCompatiblityURLs:destinationFolder: (the spelling is the established name): the
  // newer initialiser where the platform has it, otherwise the older one, same arguments.
  static std::shared_ptr<VLCopyOperation> makeWithCompatiblityURLs(std::vector<VLURL> urls,
                                                                   VLItemRef destinationFolder);

  const std::vector<VLURL>& urls() const { return urls_; }
  const VLItemRef& destinationFolder() const { return destinationFolder_; }
  TransferResults transferResults() const;
  ErrorsByItem errorsByItem() const;

  // For platforms: records the outcome per source URL, before completeWithError().
  void setResults(TransferResults results, ErrorsByItem errors);

 protected:
  std::string argumentsDescription() const override;

 private:
  VLCopyOperation(std::vector<VLURL> urls, VLItemRef destination)
      : urls_(std::move(urls)), destinationFolder_(std::move(destination)) {}
  const std::vector<VLURL> urls_;
  const VLItemRef destinationFolder_;
  TransferResults transferResults_;  // guarded by mutex_
  ErrorsByItem errorsByItem_;        // guarded by mutex_
};
