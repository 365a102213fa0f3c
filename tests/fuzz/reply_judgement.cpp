// What must hold: checkers and dispatch agree with the listings for arbitrary records of every
// model.

#include "fuzz_target.h"

#include <biz_cmdswork/biz_cmdswork.h>

#include "../unit/reply_rules/checked_models.h"

namespace {

using biz::fuzz::require;

void silenceMessages(QtMsgType /*type*/, const QMessageLogContext & /*context*/, const QString & /*message*/) {}

/** An arbitrary record: no byte of it but those that the oracle names may matter. */
model_Protocoldata arbitraryRecord(biz::fuzz::Input &input)
{
    model_Protocoldata record;
    for (unsigned char &byte : record.ucHead) {
        byte = input.byte();
    }
    // Every other size is what the record declares, give or take a few bytes.
    const int declared = record.ucHead[5] * 256 + record.ucHead[4];
    const int size = input.below(2) == 0 ? input.word() : qMax(0, declared + input.below(7) - 3);
    record.baData = QByteArray(size, static_cast<char>(input.byte()));
    record.iWaitTime = input.word();
    record.nTag = static_cast<quint32>(input.word());
    record.ucValue1 = input.byte();
    return record;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    static const auto before = qInstallMessageHandler(silenceMessages);
    static_cast<void>(before);
    static biz_CMDSWork worker;

    biz::fuzz::Input input(data, size);
    while (!input.atEnd()) {
        const auto &models = checkedModels();
        const CheckedModel &model = models[static_cast<std::size_t>(input.below(static_cast<int>(models.size())))];
        const model_Protocoldata record = arbitraryRecord(input);
        const listing::Wire wire{record.ucHead[3], record.ucHead[4], record.ucHead[5],
                                 static_cast<int>(record.baData.size())};
        const listing::Line *line = model.rules().find(record.ucHead[1], record.ucHead[2]);
        const bool expected = line == nullptr || line->accepts(wire);

        require((worker.*model.checker)(record) == expected, "the checker agrees with the listing");
        biz_CMDSWork::deviceType = model.deviceType;
        require(worker.checkRecvData(record) == expected, "the dispatch agrees with the listing");
        biz_CMDSWork::deviceType = -1;
        require(worker.checkRecvData(record), "a type without a checker accepts everything");
    }
    return 0;
}
