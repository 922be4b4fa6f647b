#include "trimora/contract/koRTB/signals.h"

#include <doctest/doctest.h>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

using namespace koRTB;

namespace {

std::string heard;

void hear(char const* text) {
    heard += text;
}

/// Appends its name for every call, does what it was told, and counts the living.
class Listener {
public:
    explicit Listener(std::string listenerName) : name(std::move(listenerName)) {}

    void call(int value) {
        heard += name + std::to_string(value);
        if (then)
            then(value);
    }

    std::string name;
    std::function<void(int)> then;
};

Connection* connect(SignalArg<int>& signal, Listener& listener) {
    return signal.addCallback(new FunctionArgMember<int, Listener>(&listener, &Listener::call));
}

/// Function object that tells when it is deleted.
class Watched : public FunctionArg<int> {
public:
    explicit Watched(int& alive, std::function<void()> then = {})
        : alive_(alive), then_(std::move(then)) {
        ++alive_;
    }
    ~Watched() override { --alive_; }
    void call(int) override {
        heard += "w";
        if (then_)
            then_();
        heard += alive_ > 0 ? "+" : "-";  // read after what might have deleted this object
    }

private:
    int& alive_;
    std::function<void()> then_;
};

}  // namespace

TEST_CASE("callbacksAreCalledInTheOrderOfTheirConnection") {
    heard.clear();
    SignalArg<int> signal;
    CHECK_FALSE(signal.isConnected());
    signal.raise(0);
    Listener a("a");
    Listener b("b");
    Listener c("c");
    connect(signal, a);
    Connection* const second = connect(signal, b);
    connect(signal, c);
    CHECK(signal.isConnected());
    signal.raise(1);
    CHECK(heard == "a1b1c1");
    second->setBlocked(true);
    CHECK(second->isBlocked());
    signal.raise(2);
    second->setBlocked(false);
    signal.raise(3);
    second->disconnect();
    signal.raise(4);
    CHECK(heard == "a1b1c1a2c2a3b3c3a4c4");
}

TEST_CASE("callbacksMayDisconnectThemselvesAndOthersWhileRaised") {
    heard.clear();
    SignalArg<int> signal;
    Listener a("a");
    Listener b("b");
    Listener c("c");
    Connection* first = connect(signal, a);
    Connection* const second = connect(signal, b);
    Connection* third = connect(signal, c);

    b.then = [&](int) { second->disconnect(); };
    signal.raise(1);
    signal.raise(2);
    CHECK(heard == "a1b1c1a2c2");

    heard.clear();
    c.then = [&](int) {  // one that was passed already, and itself
        first->disconnect();
        third->disconnect();
    };
    signal.raise(3);
    CHECK(heard == "a3c3");
    CHECK_FALSE(signal.isConnected());

    heard.clear();
    c.then = nullptr;
    first = connect(signal, a);
    third = connect(signal, c);
    a.then = [&](int) { third->disconnect(); };  // the next one
    signal.raise(4);
    CHECK(heard == "a4");
    first->disconnect();
    CHECK_FALSE(signal.isConnected());
}

TEST_CASE("disconnectedFunctionLivesUntilItsCallReturns") {
    heard.clear();
    int alive = 0;
    SignalArg<int> signal;
    Connection* connection = nullptr;
    connection = signal.addCallback(new Watched(alive, [&] {
        connection->disconnect();
        heard += signal.isConnected() ? "c" : "n";
        signal.raise(0);  // calls nothing
    }));
    signal.raise(1);
    CHECK(heard == "wn+");
    CHECK(alive == 0);
}

TEST_CASE("callbacksMayConnectRaiseAndThrow") {
    heard.clear();
    SignalArg<int> signal;
    Listener a("a");
    Listener late("l");
    a.then = [&](int value) {
        if (value == 1)
            connect(signal, late);
        if (value == 2)
            signal.raise(9);
        if (value == 3)
            throw std::runtime_error("stop");
    };
    connect(signal, a);
    signal.raise(1);
    signal.raise(2);
    CHECK(heard == "a1l1a2a9l9l2");
    heard.clear();
    CHECK_THROWS_AS(signal.raise(3), std::runtime_error);
    signal.raise(4);
    CHECK(heard == "a3a4l4");
}

TEST_CASE("callbackMayDestroyTheSignal") {
    heard.clear();
    int alive = 0;
    auto signal = std::make_unique<SignalArg<int>>();
    SignalArg<int>& raised = *signal;
    raised.addCallback(new Watched(alive));
    raised.addCallback(new Watched(alive, [&] { signal.reset(); }));
    raised.addCallback(new Watched(alive));
    raised.raise(1);
    CHECK(heard == "w+w+");
    CHECK(alive == 0);
}

TEST_CASE("dyingFunctionMayTakeTheNextOrTheSignalAlong") {
    struct Parting : FunctionArg<int> {
        std::function<void()> inCall, atEnd;
        ~Parting() override { atEnd(); }
        void call(int) override { inCall(); }
    };
    for (bool const endSignal : {false, true}) {
        heard.clear();
        int alive = 0;
        auto signal = std::make_unique<SignalArg<int>>();
        auto client = std::make_unique<SignalClient>();
        auto* const parting = new Parting;
        Connection* const connection = signal->addCallback(parting);
        signal->addCallback(new Watched(alive), *client);
        parting->inCall = [connection] { connection->disconnect(); };
        parting->atEnd = [&] {
            client.reset();
            if (endSignal)
                signal.reset();
        };
        signal->raise(1);
        CHECK(heard.empty());
        CHECK(alive == 0);
    }
}

TEST_CASE("connectionsDieWithTheirClientOrTheirSignal") {
    heard.clear();
    int alive = 0;
    {
        SignalClient survivor;
        {
            SignalArg<int> signal;
            {
                SignalClient client;
                signal.addCallback(new Watched(alive), client);
                signal.addCallback(new Watched(alive), client)->disconnect();
                signal.addCallback(new Watched(alive), survivor);
                SignalClient const copy(client);
                CHECK(alive == 2);
            }
            CHECK(alive == 1);
            signal.raise(1);
            CHECK(heard == "w+");
        }
        CHECK(alive == 0);
    }
    CHECK(alive == 0);
}

TEST_CASE("clientMayDieInsideACallback") {
    heard.clear();
    int alive = 0;
    SignalArg<int> signal;
    auto client = std::make_unique<SignalClient>();
    signal.addCallback(new Watched(alive, [&] { client.reset(); }), *client);
    signal.addCallback(new Watched(alive), *client);
    signal.raise(1);
    CHECK(heard == "w+");
    CHECK(alive == 0);
}

TEST_CASE("copiesStartWithoutConnections") {
    int alive = 0;
    SignalArg<int> signal;
    signal.addCallback(new Watched(alive));
    SignalArg<int> copy(signal);
    CHECK_FALSE(copy.isConnected());
    copy = signal;
    CHECK_FALSE(copy.isConnected());
    signal = SignalArg<int>();
    CHECK(signal.isConnected());
}

TEST_CASE("argumentsArriveAsDeclared") {
    heard.clear();
    struct Answerer {
        void answer(int question, bool& yes) { yes = question == 42; }
        void change(std::string& text) { text += "!"; }
    } answerer;
    Signal2Args<int, bool&> asked;
    asked.addCallback(new Function2ArgsMember<int, bool&, Answerer>(&answerer, &Answerer::answer));
    bool yes = false;
    asked.raise(42, yes);
    CHECK(yes);

    SignalArg<std::string&> changed;
    changed.addCallback(
        new FunctionArgMember<std::string&, Answerer>(&answerer, &Answerer::change));
    changed.addCallback(
        new FunctionArgMember<std::string&, Answerer>(&answerer, &Answerer::change));
    std::string text = "x";
    changed.raise(text);
    CHECK(text == "x!!");

    SignalArg<char const*> told;
    told.addCallback(new FunctionArgGlobal<char const*>(&hear));
    told.raise("told");
    CHECK(heard == "told");

    Signal2Args<char const*, int> toldTwice;
    toldTwice.addCallback(
        new Function2ArgsGlobal<char const*, int>([](char const* first, int count) {
            for (int i = 0; i < count; ++i)
                hear(first);
        }));
    toldTwice.raise("+", 3);
    CHECK(heard == "told+++");
}

TEST_CASE("functionsOfAnotherKindAreNeverCalled") {
    heard.clear();
    SignalArg<int> signal;
    CHECK(signal.addCallback(nullptr) == nullptr);
    SignalClient client;
    CHECK(signal.addCallback(nullptr, client) == nullptr);
    CHECK_FALSE(signal.isConnected());
    signal.addCallback(new FunctionArgGlobal<char const*>(&hear));
    signal.raise(1);
    CHECK(heard.empty());
}

TEST_CASE("functionsKnowTheirObjectOrFunction") {
    Listener a("a");
    Listener b("b");
    FunctionArgMember<int, Listener> member(&a, &Listener::call);
    CHECK(member.isInstance(&a));
    CHECK_FALSE(member.isInstance(&b));
    CHECK_FALSE(member.isGlobalFunction(nullptr));
    FunctionArgGlobal<char const*> global(&hear);
    CHECK(global.isGlobalFunction(reinterpret_cast<void*>(&hear)));
    CHECK_FALSE(global.isGlobalFunction(&a));
    CHECK_FALSE(global.isInstance(nullptr));
}
