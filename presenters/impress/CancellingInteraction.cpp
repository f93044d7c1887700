#include "presenters/impress/CancellingInteraction.h"

#include <com/sun/star/document/BrokenPackageRequest.hpp>
#include <com/sun/star/document/NoSuchFilterRequest.hpp>
#include <com/sun/star/task/DocumentMSPasswordRequest2.hpp>
#include <com/sun/star/task/DocumentPasswordRequest2.hpp>
#include <com/sun/star/task/XInteractionAbort.hpp>

namespace impress {

namespace {

std::string reasonFrom(const css::uno::Any& request) {
    if (request.isExtractableTo(cppu::UnoType<css::task::DocumentPasswordRequest>::get()) ||
        request.isExtractableTo(cppu::UnoType<css::task::DocumentMSPasswordRequest>::get())) {
        return "it is protected by a password. Save a copy without one";
    }
    if (request.isExtractableTo(cppu::UnoType<css::document::BrokenPackageRequest>::get())) {
        return "it is damaged or cut short";
    }
    if (request.isExtractableTo(cppu::UnoType<css::document::NoSuchFilterRequest>::get())) {
        return CancellingInteraction::kUnknownFormat;
    }
    return "it is damaged, or LibreOffice lacks the part that reads it (" + textFrom(request.getValueTypeName()) + ")";
}

}  // namespace

void CancellingInteraction::handle(const Reference<css::task::XInteractionRequest>& request) {
    {
        const std::lock_guard lock(mutex_);
        // The first request is the cause; those behind it follow from its being cancelled.
        if (reason_.empty()) reason_ = reasonFrom(request->getRequest());
    }
    const auto continuations = request->getContinuations();
    for (const auto& continuation : continuations) {
        const Reference<css::task::XInteractionAbort> abort(continuation, UNO_QUERY);
        if (abort.is()) abort->select();
    }
}

std::string CancellingInteraction::reason() {
    const std::lock_guard lock(mutex_);
    return reason_;
}

}  // namespace impress
