#include "executor/forwarding/kernel/nftables.h"

#include <nftables/libnftables.h>

namespace rk {

bool openNftables(Nftables &nftables) {
    nftables.context = nft_ctx_new(NFT_CTX_DEFAULT);
    if (nftables.context == nullptr)
        return false;
    nft_ctx_output_set_flags(nftables.context, NFT_CTX_OUTPUT_TERSE); // sets fill and empty by themselves
    if (nft_ctx_buffer_error(nftables.context) == 0 && nft_ctx_buffer_output(nftables.context) == 0)
        return true;
    closeNftables(nftables);
    return false;
}

void closeNftables(Nftables &nftables) {
    if (nftables.context != nullptr)
        nft_ctx_free(nftables.context);
    nftables.context = nullptr;
}

bool runTransaction(const Nftables &nftables, const std::string &commands, std::string &mistake) {
    const bool isDone = nft_run_cmd_from_buffer(nftables.context, commands.c_str()) == 0;
    const std::string said = nft_ctx_get_error_buffer(nftables.context);
    if (!isDone)
        mistake = said.empty() ? "nftables gives no reason" : said.substr(0, said.find('\n'));
    return isDone;
}

bool listTable(const Nftables &nftables, const char *table, std::string &text) {
    const std::string command = std::string("list table ip ") + table;
    const bool isThere = nft_run_cmd_from_buffer(nftables.context, command.c_str()) == 0;
    text = nft_ctx_get_output_buffer(nftables.context);
    return isThere;
}

} // namespace rk
