// Another list in the place of the whole present one.
//
// Used by the thread that owns the store.
#pragma once

#include <vector>

#include "store/picture_list.h"

namespace lumato::store {

// The records' local files are there, and wait to be written; their `next` means nothing. The journal is not
// touched: until the download that comes next begins, a program that ends finds everything as it was.
void ReplaceList(std::vector<FileData> records);

}  // namespace lumato::store
