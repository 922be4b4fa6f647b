#include "trimora/contract/koRTB/signals.h"

// The list of a signal holds its connections. A connection that is disconnected while a raising stands on it (its lock
// count is above 0) is only marked and stays linked, so that the raising finds its way on; the last unlock takes it out.
// The signal keeps the raisings under way in a stack, so that its destructor can tell them that there is no list any more.

#include <memory>

namespace koRTB {

FunctionBase::~FunctionBase() = default;

bool FunctionBase::isGlobalFunction(void* /*function*/) {
    return false;
}

bool FunctionBase::isInstance(void* /*object*/) {
    return false;
}

Connection::~Connection() {
    delete function_;
}

void Connection::disconnect() {
    if (removed_)
        return;
    removed_ = true;
    if (client_ != nullptr)
        client_->connections_.erase(placeInClient_);
    client_ = nullptr;
    lock();
    unlock();
}

void Connection::unlock() {
    if (--locks_ > 0 || !removed_)
        return;
    if (signal_ != nullptr)
        signal_->unlink(*this);
    delete this;
}

SignalClient::~SignalClient() {
    disconnectAll();
}

void SignalClient::disconnectAll() {
    while (!connections_.empty())
        connections_.front()->disconnect();
}

SignalBase::~SignalBase() {
    for (Raising* raising = raising_; raising != nullptr; raising = raising->outer_)
        raising->signal_ = nullptr;
    while (first_ != nullptr) {
        Connection& item = *first_;
        unlink(item);
        item.signal_ = nullptr;
        item.lock();  // marked as removed already or not, it goes with the last lock
        item.disconnect();
        item.unlock();
    }
}

Connection* SignalBase::addCallback(FunctionBase* function) {
    if (function == nullptr)
        return nullptr;
    std::unique_ptr<FunctionBase> owned(function);
    Connection* const item = new Connection(*this, function);
    static_cast<void>(owned.release());

    item->previous_ = last_;
    (last_ == nullptr ? first_ : last_->next_) = item;
    last_ = item;
    return item;
}

Connection* SignalBase::addCallback(FunctionBase* function, SignalClient& client) {
    std::unique_ptr<FunctionBase> owned(function);
    // Allocated before the connection exists: nothing below fails half-way.
    std::list<Connection*> place(1);
    Connection* const item = addCallback(owned.release());
    if (item == nullptr)
        return nullptr;
    place.front() = item;
    item->client_ = &client;
    item->placeInClient_ = place.begin();
    client.connections_.splice(client.connections_.end(), place);
    return item;
}

bool SignalBase::isConnected() const {
    for (Connection const* item = first_; item != nullptr; item = item->next_)
        if (!item->removed_)
            return true;
    return false;
}

void SignalBase::unlink(Connection& item) {
    (item.previous_ == nullptr ? first_ : item.previous_->next_) = item.next_;
    (item.next_ == nullptr ? last_ : item.next_->previous_) = item.previous_;
    item.next_ = nullptr;
    item.previous_ = nullptr;
}

SignalBase::Raising::Raising(SignalBase& signal) : signal_(&signal), outer_(signal.raising_) {
    signal.raising_ = this;
}

SignalBase::Raising::~Raising() {
    if (current_ != nullptr)  // left by an exception
        current_->unlock();
    if (signal_ != nullptr)
        signal_->raising_ = outer_;
}

Connection* SignalBase::Raising::enter(Connection* item) {
    current_ = item;
    if (item != nullptr)
        item->lock();
    return item;
}

Connection* SignalBase::Raising::next() {
    Connection* const item = current_;
    // Entered before the item is left: when that deletes the item's function, its destructor may disconnect others.
    Connection* const following = enter(signal_ != nullptr ? item->next_ : nullptr);
    item->unlock();
    return following;
}

}  // namespace koRTB
