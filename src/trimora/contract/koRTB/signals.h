#pragma once

#include "trimora/export.h"

#include <list>

/// Signals and callbacks.
///
/// A signal owns function objects and calls them, in the order in which they were added, each time it is raised.
/// Callbacks may disconnect themselves or others, add callbacks (called in the same raising), raise the signal again,
/// and even destroy it; nothing is called after its disconnection.
/// threads   one at a time for a signal, its connections and its clients
namespace koRTB {

class SignalBase;
class SignalClient;

/// A heap object that a signal can call; see FunctionArg and Function2Args.
class TRIMORA_API FunctionBase {
public:
    FunctionBase() = default;
    FunctionBase(FunctionBase const&) = delete;
    FunctionBase& operator=(FunctionBase const&) = delete;
    virtual ~FunctionBase();

    /// True when this calls the given free function (cast to void*).
    virtual bool isGlobalFunction(void* function);
    /// True when this calls a member function of the given object.
    virtual bool isInstance(void* object);
};

/// One callback of one signal. Owned by the signal: the pointer is valid until disconnect(), or until the signal or
/// the client it was tied to dies.
class TRIMORA_API Connection {
public:
    Connection(Connection const&) = delete;
    Connection& operator=(Connection const&) = delete;

    /// Removes the callback from its signal and deletes its function, as soon as no raising is inside it.
    void disconnect();
    /// A blocked callback stays connected and is not called.
    void setBlocked(bool blocked) { blocked_ = blocked; }
    bool isBlocked() const { return blocked_; }

    /// Keeps the item alive through a call; a disconnection meanwhile takes effect with the last unlock().
    void lock() { ++locks_; }
    void unlock();

private:
    friend class SignalBase;
    friend class SignalClient;

    Connection(SignalBase& signal, FunctionBase* function)
        : signal_(&signal), function_(function) {}
    ~Connection();

    SignalBase* signal_;  // null once the signal is gone
    FunctionBase* function_;
    SignalClient* client_ = nullptr;
    std::list<Connection*>::iterator placeInClient_;
    Connection* next_ = nullptr;
    Connection* previous_ = nullptr;
    int locks_ = 0;
    bool blocked_ = false;
    bool removed_ = false;
};

/// The items of a signal's list are its connections.
using connectionItem = Connection;

/// Ties connections to an object: they die with it. Copies start without connections.
class TRIMORA_API SignalClient {
public:
    SignalClient() = default;
    SignalClient(SignalClient const&) {}
    SignalClient& operator=(SignalClient const&) { return *this; }
    ~SignalClient();

    /// Disconnects everything that is tied to this client.
    void disconnectAll();

private:
    friend class SignalBase;
    friend class Connection;

    std::list<Connection*> connections_;
};

/// Keeps the connections of a signal. Connections belong to the object and not to its value: a copy starts without
/// any, and assignment leaves them alone.
class TRIMORA_API SignalBase {
public:
    SignalBase() = default;
    SignalBase(SignalBase const&) {}
    SignalBase& operator=(SignalBase const&) { return *this; }
    virtual ~SignalBase();

    /// Takes ownership of the function, which must be of the kind that the signal calls (others are never called).
    /// Null adds nothing and returns null.
    Connection* addCallback(FunctionBase* function);
    /// The connection also ends when the client dies.
    Connection* addCallback(FunctionBase* function, SignalClient& client);

    /// True when anyone listens.
    bool isConnected() const;

protected:
    /// Calls visit(FunctionBase&) for every function that is neither blocked nor removed.
    template <typename Visit>
    void raiseEach(Visit const& visit) {
        Raising raising(*this);
        for (Connection* item = raising.enter(first_); item != nullptr; item = raising.next())
            if (!item->blocked_ && !item->removed_)
                visit(*item->function_);
    }

private:
    friend class Connection;

    /// One walk over the list. It holds the lock of the item it stands on, and learns of the signal's death.
    class TRIMORA_API Raising {
    public:
        explicit Raising(SignalBase& signal);
        ~Raising();
        Raising(Raising const&) = delete;
        Raising& operator=(Raising const&) = delete;

        /// Steps on the item, if there is one, and returns it.
        Connection* enter(Connection* item);
        /// Leaves the item for the one after it; null at the end or when the signal is gone.
        Connection* next();

    private:
        friend class SignalBase;

        SignalBase* signal_;  // null once the signal is gone
        Raising* outer_;
        Connection* current_ = nullptr;
    };

    void unlink(Connection& item);

    Connection* first_ = nullptr;
    Connection* last_ = nullptr;
    Raising* raising_ = nullptr;  // the innermost one
};

/// Callback with one argument.
template <typename T>
class FunctionArg : public FunctionBase {
public:
    virtual void call(T argument) = 0;
};

/// Calls a member function of an object, which must outlive the connection.
template <typename T, typename C>
class FunctionArgMember : public FunctionArg<T> {
public:
    using Member = void (C::*)(T);

    FunctionArgMember(C* object, Member member) : object_(object), member_(member) {}
    bool isInstance(void* object) override { return object == object_; }
    void call(T argument) override { (object_->*member_)(static_cast<T>(argument)); }

private:
    C* object_;
    Member member_;
};

/// Calls a free function.
template <typename T>
class FunctionArgGlobal : public FunctionArg<T> {
public:
    using Function = void (*)(T);

    explicit FunctionArgGlobal(Function function) : function_(function) {}
    bool isGlobalFunction(void* function) override {
        return function == reinterpret_cast<void*>(function_);
    }
    void call(T argument) override { function_(static_cast<T>(argument)); }

private:
    Function function_;
};

/// Signal with one argument, which every callback receives anew.
template <typename T>
class SignalArg : public SignalBase {
public:
    void raise(T argument) {
        raiseEach([&](FunctionBase& function) {
            if (auto* const typed = dynamic_cast<FunctionArg<T>*>(&function))
                typed->call(argument);
        });
    }
};

/// Callback with two arguments.
template <typename T1, typename T2>
class Function2Args : public FunctionBase {
public:
    virtual void call(T1 first, T2 second) = 0;
};

/// Calls a member function of an object, which must outlive the connection.
template <typename T1, typename T2, typename C>
class Function2ArgsMember : public Function2Args<T1, T2> {
public:
    using Member = void (C::*)(T1, T2);

    Function2ArgsMember(C* object, Member member) : object_(object), member_(member) {}
    bool isInstance(void* object) override { return object == object_; }
    void call(T1 first, T2 second) override {
        (object_->*member_)(static_cast<T1>(first), static_cast<T2>(second));
    }

private:
    C* object_;
    Member member_;
};

/// Calls a free function.
template <typename T1, typename T2>
class Function2ArgsGlobal : public Function2Args<T1, T2> {
public:
    using Function = void (*)(T1, T2);

    explicit Function2ArgsGlobal(Function function) : function_(function) {}
    bool isGlobalFunction(void* function) override {
        return function == reinterpret_cast<void*>(function_);
    }
    void call(T1 first, T2 second) override {
        function_(static_cast<T1>(first), static_cast<T2>(second));
    }

private:
    Function function_;
};

/// Signal with two arguments; a reference carries an answer back.
template <typename T1, typename T2>
class Signal2Args : public SignalBase {
public:
    void raise(T1 first, T2 second) {
        raiseEach([&](FunctionBase& function) {
            if (auto* const typed = dynamic_cast<Function2Args<T1, T2>*>(&function))
                typed->call(first, second);
        });
    }
};

}  // namespace koRTB
