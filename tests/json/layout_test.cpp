// SPDX-License-Identifier: MIT
#include <vorn/common/lwjson/Deserializer.h>
#include <vorn/common/lwjson/Serializer.h>

#include "helpers/layout.h"

using vorn::common::lwjson::Deserializer;
using vorn::common::lwjson::Serializer;
using String = Deserializer::String;
using Context = Deserializer::CompareContext;

template struct helpers::Fields<String, &String::data, &String::size>;
template struct helpers::Fields<Deserializer, &Deserializer::textOwner_, &Deserializer::text_,
                                &Deserializer::isNull_, &Deserializer::type_, &Deserializer::name_,
                                &Deserializer::value, &Deserializer::members_,
                                &Deserializer::options_>;
template struct helpers::Fields<Context, &Context::throwOnDifference_, &Context::report_,
                                &Context::path_, &Context::reportDifferences_,
                                &Context::differences_>;
template struct helpers::Fields<Serializer, &Serializer::owned_, &Serializer::output_,
                                &Serializer::format_, &Serializer::layout_, &Serializer::object_,
                                &Serializer::plain_, &Serializer::finalized_,
                                &Serializer::indentation_, &Serializer::inArray_>;

TEST(JsonLayout, FieldsStandInOrder) {
    helpers::expectFieldsInOrder(4);
}
