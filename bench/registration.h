#pragma once

#include <string>
#include <vector>

// The sources of comparisons. Each function adds those of the file of its name; bench_main.cpp
// calls them all.
namespace sorvane::bench {

void addChain();
void addFlat();
void addFunctions();
void addLayers();
void addTransforms();

/// The networks of the bench itself, and those of the given model files.
void addNetworks(const std::vector<std::string>& models);

} // namespace sorvane::bench
