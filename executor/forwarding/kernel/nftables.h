// The kernel's packet filter, as a text in the language of nft(8).
#pragma once

#include <string>

struct nft_ctx;

namespace rk {

struct Nftables {
    nft_ctx *context = nullptr; // null: not open
};

// False when there is no memory for it.
bool openNftables(Nftables &nftables);
void closeNftables(Nftables &nftables);

// Runs `commands` as one transaction: all of it is in force when it returns true, none of it when it returns false, and
// `mistake` has the first line of what was said then. Hours of the day in it are those of the time zone in TZ.
bool runTransaction(const Nftables &nftables, const std::string &commands, std::string &mistake);

// What is in a table of the family ip, but for the elements of its sets with names. False when there is no such table.
bool listTable(const Nftables &nftables, const char *table, std::string &text);

} // namespace rk
