#include "fuzz/models/report_model.h"

namespace model {

bool grows(const Report &report, const std::string &addition) {
    return report.text.size() + addition.size() + 1 > report.size;
}

int append(Report &report, const std::string &addition, bool canGrow) {
    if (grows(report, addition)) {
        report.size = report.text.size() + addition.size() + 10001;
        if (!canGrow)
            return -1;
    }
    report.text += addition;
    return 0;
}

std::vector<std::string> splitList(const std::string &list, char separator) {
    if (list.empty() || list.back() == separator)
        return {};
    std::vector<std::string> tokens;
    bool inToken = false;
    for (const char character : list) {
        if (character == separator) {
            inToken = false;
            continue;
        }
        if (!inToken)
            tokens.emplace_back();
        inToken = true;
        tokens.back() += character;
    }
    return tokens;
}

} // namespace model
