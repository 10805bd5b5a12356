#pragma once

#include "foundation/containers/List.h"

#include <string>
#include <string_view>

namespace alidade {

using CLetters = TList<char>;

/// A list with one item a letter, its cursor at `cursor`.
inline void Fill(CLetters& list, std::string_view letters, int cursor = 0)
{
    for (const char letter : letters) {
        list.Insert(new char(letter));
    }
    list.NodeAt(cursor);
}

/// The letters in order. "broken" when the chain reads differently from its end.
inline std::string Letters(const CLetters& list)
{
    std::string forward;
    std::string backward;
    const TListNode<char*>* last = nullptr;
    for (const char* letter : list) {
        forward += *letter;
    }
    TDoublyLinkedListIter<char, char*, const char*> iter(list); // the list's own cursor stays where it is
    last = iter.NodeAt(-1);
    for (std::size_t i = 0; last != nullptr && i < forward.size(); ++i, last = last->prev) {
        backward.insert(backward.begin(), *last->item);
    }
    return forward == backward && static_cast<int>(forward.size()) == list.Count() ? forward : "broken";
}

} // namespace alidade
