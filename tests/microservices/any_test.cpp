// Any: holding, copying, moving, casting and comparing values.
#include "cppmicroservices/Any.h"
#include "cppmicroservices/AnyMap.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using cppmicroservices::BadAnyCastException;
using cppmicroservices::ref_any_cast;

struct WithoutEquality {
    int number = 0;
};

std::ostream& operator<<(std::ostream& os, WithoutEquality const& value) {
    return os << value.number;
}

// Larger than any buffer an implementation may keep in the Any itself.
struct Large {
    std::array<long, 40> numbers{};
    bool operator==(Large const& other) const { return numbers == other.numbers; }
};

std::ostream& operator<<(std::ostream& os, Large const& value) {
    return os << value.numbers[0];
}

// Counts its living objects.
class Counted {
public:
    explicit Counted(int& living)
        : living_(&living) {
        ++*living_;
    }
    Counted(Counted const& other)
        : living_(other.living_) {
        ++*living_;
    }
    Counted(Counted&& other) noexcept
        : living_(other.living_) {
        ++*living_;
    }
    Counted& operator=(Counted const&) = delete;
    ~Counted() { --*living_; }

private:
    int* living_;
};

std::ostream& operator<<(std::ostream& os, Counted const&) {
    return os;
}

// Objects that nobody allocates by themselves.
struct NeverAllocated {
    static void* operator new(std::size_t) = delete;
    static void operator delete(void*) = delete;
    std::array<std::string, 3> texts;
};

std::ostream& operator<<(std::ostream& os, NeverAllocated const& value) {
    return os << value.texts[0];
}

// Says nothing about where it is.
struct WithoutAddress {
    WithoutAddress* operator&() { return nullptr; }             // NOLINT(google-runtime-operator)
    WithoutAddress const* operator&() const { return nullptr; } // NOLINT(google-runtime-operator)
    int number = 0;
};

std::ostream& operator<<(std::ostream& os, WithoutAddress const& value) {
    return os << value.number;
}

template <typename Function>
std::string badCastMessage(Function cast) {
    try {
        cast();
    } catch (BadAnyCastException const& error) {
        return error.what();
    }
    return "no exception";
}

TEST(Any, IsEmptyByDefault) {
    Any const any;
    EXPECT_TRUE(any.Empty());
    EXPECT_TRUE(any.Type() == typeid(void));
}

TEST(Any, HoldsAValueOfAnyType) {
    EXPECT_EQ(any_cast<int>(Any(13)), 13);
    EXPECT_EQ(any_cast<bool>(Any(true)), true);
    EXPECT_EQ(any_cast<std::string>(Any(std::string("text"))), "text");
    EXPECT_EQ(any_cast<std::vector<Any>>(Any(std::vector<Any>{1, 2})).size(), 2u);
    EXPECT_EQ(any_cast<Large>(Any(Large{{7}})).numbers[0], 7);
}

TEST(Any, HoldsAValueWhoseTypeForbidsAllocation) {
    Any const any(NeverAllocated{{"text", "", ""}});
    Any const copy(any);
    EXPECT_EQ(copy.ToString(), "text");
}

TEST(Any, HoldsAValueWhoseTypeHidesItsAddress) {
    Any const any(WithoutAddress{7});
    Any const copy(any);
    EXPECT_EQ(copy.ToString(), "7");
}

TEST(Any, KeepsTheExactTypeOfItsValue) {
    EXPECT_TRUE(Any(1).Type() == typeid(int));
    EXPECT_TRUE(Any(1u).Type() == typeid(unsigned));
    EXPECT_TRUE(Any(std::string()).Type() == typeid(std::string));
    EXPECT_TRUE(Any(AnyMap()).Type() == typeid(AnyMap));
    char const* const text = "text";
    EXPECT_TRUE(Any(text).Type() == typeid(char const*));
}

TEST(Any, CopiesAreIndependent) {
    Any const original(std::string("a text longer than any small-string buffer is"));
    Any copy(original);
    ref_any_cast<std::string>(copy) = "changed";
    EXPECT_EQ(any_cast<std::string>(original), "a text longer than any small-string buffer is");
    EXPECT_EQ(any_cast<std::string>(copy), "changed");
}

TEST(Any, CopyOfAnEmptyOneIsEmpty) {
    Any const original;
    Any const copy(original);
    EXPECT_TRUE(copy.Empty());
}

TEST(Any, MovedFromIsEmpty) {
    Any text(std::string("text"));
    Any number(5);
    Any large(Large{{7}});
    Any const movedText(std::move(text));
    Any const movedNumber(std::move(number));
    Any const movedLarge(std::move(large));
    EXPECT_TRUE(text.Empty());
    EXPECT_TRUE(number.Empty());
    EXPECT_TRUE(large.Empty());
    EXPECT_EQ(any_cast<std::string>(movedText), "text");
    EXPECT_EQ(any_cast<int>(movedNumber), 5);
    EXPECT_EQ(any_cast<Large>(movedLarge).numbers[0], 7);
}

TEST(Any, MoveAssignmentReplacesTheValue) {
    Any target(std::string("old"));
    Any source(5);
    target = std::move(source);
    EXPECT_EQ(any_cast<int>(target), 5);
    EXPECT_TRUE(source.Empty());
}

TEST(Any, SelfAssignmentKeepsTheValue) {
    Any any(std::string("text"));
    Any& alias = any;
    any = alias;
    EXPECT_EQ(any_cast<std::string>(any), "text");
    any = std::move(alias);
    EXPECT_EQ(any_cast<std::string>(any), "text");
}

TEST(Any, AssignsItsOwnElement) {
    Any any(std::vector<Any>{std::string("inner")});
    any = Any(ref_any_cast<std::vector<Any>>(any)[0]);
    EXPECT_EQ(any_cast<std::string>(any), "inner");
}

TEST(Any, AssignmentFromAValueReplacesTheType) {
    Any any(1);
    any = std::string("text");
    EXPECT_EQ(any_cast<std::string>(any), "text");
    std::string const other = "other";
    any = other;
    EXPECT_EQ(any_cast<std::string>(any), "other");
    any = Any();
    EXPECT_TRUE(any.Empty());
}

TEST(Any, MovingKeepsTheAddressOfHeapData) {
    Any source(std::vector<int>{1, 2, 3});
    int const* const data = ref_any_cast<std::vector<int>>(source).data();
    Any target;
    target = std::move(source);
    EXPECT_EQ(ref_any_cast<std::vector<int>>(target).data(), data);
}

TEST(Any, SwapExchangesValuesAndReturnsItself) {
    Any left(std::string("left"));
    Any right(Large{{7}});
    EXPECT_EQ(&left.Swap(right), &left);
    EXPECT_EQ(any_cast<Large>(left).numbers[0], 7);
    EXPECT_EQ(any_cast<std::string>(right), "left");
    Any empty;
    left.Swap(empty);
    EXPECT_TRUE(left.Empty());
    EXPECT_FALSE(empty.Empty());
}

TEST(Any, DestroysEveryValueOnce) {
    int living = 0;
    {
        Any first{Counted(living)};
        Any second(first);
        Any third(std::move(first));
        EXPECT_EQ(living, 2);
        second.Swap(third);
        third = 5;
        EXPECT_EQ(living, 1);
        second = Any(second);
        EXPECT_EQ(living, 1);
    }
    EXPECT_EQ(living, 0);
}

TEST(AnyCast, OfPointerGivesNullOnAnotherTypeOnEmptyAndOnNull) {
    Any number(5);
    Any empty;
    EXPECT_EQ(any_cast<long>(&number), nullptr);
    EXPECT_EQ(any_cast<int>(&empty), nullptr);
    EXPECT_EQ(any_cast<int>(static_cast<Any*>(nullptr)), nullptr);
    EXPECT_EQ(any_cast<int>(static_cast<Any const*>(nullptr)), nullptr);
}

TEST(AnyCast, OfPointerGivesTheValueItself) {
    Any number(5);
    *any_cast<int>(&number) = 6;
    Any const& constant = number;
    EXPECT_EQ(*any_cast<int>(&constant), 6);
}

TEST(AnyCast, GivesACopy) {
    Any any(std::string("text"));
    auto copy = any_cast<std::string>(any);
    copy += " changed";
    EXPECT_EQ(any_cast<std::string>(any), "text");
}

TEST(AnyCast, OfReferenceGivesTheValueItself) {
    Any any(std::string("text"));
    ref_any_cast<std::string>(any) += " changed";
    Any const& constant = any;
    EXPECT_EQ(ref_any_cast<std::string>(constant), "text changed");
}

TEST(AnyCast, DoesNotConvert) {
    EXPECT_THROW(any_cast<long>(Any(1)), BadAnyCastException);
    EXPECT_THROW(any_cast<unsigned>(Any(1)), BadAnyCastException);
    char const* const text = "text";
    EXPECT_THROW(any_cast<std::string>(Any(text)), BadAnyCastException);
}

TEST(AnyCast, FailureNamesFunctionAndTypes) {
    Any const number(5);
    Any const empty;
    EXPECT_EQ(badCastMessage([&] { any_cast<bool>(number); }),
              "cppmicroservices::BadAnyCastException: any_cast: Failed to convert from cppmicroservices::Any "
              "type int to target type bool");
    EXPECT_EQ(
        badCastMessage([&] { ref_any_cast<AnyMap>(number); }),
        "cppmicroservices::BadAnyCastException: ref_any_cast: Failed to convert from cppmicroservices::Any "
        "type int to target type cppmicroservices::AnyMap");
    EXPECT_EQ(badCastMessage([&] { any_cast<int>(empty); }),
              "cppmicroservices::BadAnyCastException: any_cast: Failed to convert from cppmicroservices::Any "
              "type void to target type int");
}

TEST(AnyCast, FailureIsABadCast) {
    EXPECT_THROW(any_cast<bool>(Any(5)), std::bad_cast);
}

TEST(BadAnyCastException, HasADefaultMessage) {
    EXPECT_STREQ(BadAnyCastException().what(), "cppmicroservices::BadAnyCastException: "
                                               "failed conversion using cppmicroservices::any_cast");
    EXPECT_STREQ(BadAnyCastException("message").what(), "message");
}

TEST(AnyComparison, WithAValueNeedsTheSameTypeAndAnEqualValue) {
    Any const number(5);
    EXPECT_TRUE(number == 5);
    EXPECT_FALSE(number == 6);
    EXPECT_FALSE(number == 5L);
    EXPECT_TRUE(number != 6);
    EXPECT_FALSE(number != 5);
}

TEST(AnyComparison, WithACharacterArrayIsFalse) {
    Any const text(std::string("x"));
    EXPECT_FALSE(text == "x");
    EXPECT_TRUE(text != "x");
    EXPECT_TRUE(text == std::string("x"));
}

TEST(AnyComparison, BetweenAnysNeedsTheSameTypeAndAnEqualValue) {
    EXPECT_TRUE(Any(std::string("x")) == Any(std::string("x")));
    EXPECT_FALSE(Any(std::string("x")) == Any(std::string("y")));
    EXPECT_FALSE(Any(5) == Any(5L));
    EXPECT_TRUE(Any(5) != Any(6));
    EXPECT_TRUE(Any(Large{{7}}) == Any(Large{{7}}));
}

TEST(AnyComparison, ComparesContainersByElement) {
    EXPECT_TRUE(Any(std::vector<Any>{1, std::string("x")}) == Any(std::vector<Any>{1, std::string("x")}));
    EXPECT_FALSE(Any(std::vector<Any>{1}) == Any(std::vector<Any>{2}));
    EXPECT_TRUE(Any(AnyMap{{"k", 1}}) == Any(AnyMap{{"k", 1}}));
    EXPECT_FALSE(Any(AnyMap{{"k", 1}}) == Any(AnyMap{{"k", 2}}));
}

TEST(AnyComparison, OfTypesWithoutEqualityIsFalse) {
    Any const any(WithoutEquality{1});
    EXPECT_FALSE(any == WithoutEquality{1});
    EXPECT_FALSE(any == any);
    EXPECT_TRUE(any != any);
}

TEST(AnyComparison, OfAnEmptyOneWithAValueIsFalse) {
    Any const empty;
    EXPECT_FALSE(empty == 5);
    EXPECT_TRUE(empty != 5);
    EXPECT_FALSE(empty == Any(5));
    EXPECT_TRUE(empty != Any(5));
}

} // namespace
