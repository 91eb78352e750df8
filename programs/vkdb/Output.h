// Output.h - what vkdb prints: the statistics of a store, the dump of its objects and
// links (text or JSON), the check's verdict, and an application's dependency graph in
// Graphviz's DOT language.
#ifndef VKDB_OUTPUT_H
#define VKDB_OUTPUT_H

#include <string>

#include "LoadedStore.h"
#include "StoreCheck.h"
#include "StoreImage.h"

namespace vkp {

// `loaded` may be null when the library could not attach the store.
std::string StatsText(const std::string& folder, const StoreImage& image, const LoadedStore* loaded);
std::string DumpText(const std::string& folder, const StoreImage& image, const LoadedStore* loaded);
std::string DumpJson(const std::string& folder, const StoreImage& image, const LoadedStore* loaded);
std::string CheckText(const std::string& folder, const StoreImage& image, const CheckResult& result);
// The application's dependency graph: the application, what the library's dependency
// query finds for it (registry values left out: their key stands for them), and the
// name-only DLLs its files import, joined by the links between them. False with a reason when the store holds no such application.
bool DependencyDot(const LoadedStore& loaded, const std::string& application, std::string* dot, std::string* error);

}  // namespace vkp

#endif
