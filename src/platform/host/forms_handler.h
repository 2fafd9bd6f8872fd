#pragma once
// Forms of the host as the library sees them, and the host's forms handler. Both are late-bound
// objects on the host side; here they are small interfaces with Qt adapters in the dialogs library.
#include <QVariant>
#include <cstdint>
#include <optional>

namespace qldb {

class IForm {
public:
    virtual ~IForm() = default;
    // Shows the form: modal 1 shows it modally. The owner is passed only when the call names one,
    // and the call may name an owner that is not set (a null pointer).
    virtual void Show(int32_t modal, std::optional<IForm*> owner) = 0;
};

class IFormsHandler {
public:
    virtual ~IFormsHandler() = default;
    virtual QVariant NewModal(IForm* fToShow, IForm* fOwner, bool AsRoot) = 0;
    virtual QVariant NewModeless(IForm* fToShow, IForm* fOwner, bool AsRoot) = 0;
};

} // namespace qldb
