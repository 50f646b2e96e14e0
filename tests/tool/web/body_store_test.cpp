#include "tests/tool/web/body_folder.h"
#include "tool/system/errors.h"
#include "tool/web/body_store.h"
#include "tool/web/io_file.h"
#include "tool/web/io_memory.h"

#include <gtest/gtest.h>

namespace {

bool in_memory(const web::io_data& store)
{
    return dynamic_cast<const web::io_memory*>(&store) != nullptr;
}

std::wstring name_of(web::io_data& store)
{
    std::wstring name;
    EXPECT_TRUE(dynamic_cast<web::io_file&>(store).file_name(name));
    return name;
}

TEST(body_store, keeps_a_body_of_131070_bytes_in_memory)
{
    const auto store = web::make_body_store(131070);
    ASSERT_TRUE(in_memory(*store));
    EXPECT_GE(dynamic_cast<web::io_memory&>(*store).capacity(), 131070U);
}

TEST(body_store, puts_a_body_of_131071_bytes_into_a_file)
{
    EXPECT_FALSE(in_memory(*web::make_body_store(131071)));
}

TEST(body_store, puts_a_body_of_unknown_size_into_a_file)
{
    EXPECT_FALSE(in_memory(*web::make_body_store(web::unknown_body_size)));
    EXPECT_FALSE(in_memory(*web::make_body_store(0xFFFFFFFFFFFFFFFFU)));
    EXPECT_FALSE(in_memory(*web::make_body_store(0x5FFFFFFFFU))) << "the low 32 bits count";
}

TEST(body_store, has_a_store_for_no_bytes)
{
    const auto store = web::make_body_store(0);
    EXPECT_TRUE(in_memory(*store));
    EXPECT_EQ(store->size(), 0U);
}

TEST(body_store, does_not_mistake_a_huge_size_for_a_small_one)
{
    EXPECT_FALSE(in_memory(*web::make_body_store(0x100000005U)));
}

TEST(body_store, follows_the_configured_count_of_memory_units)
{
    web::body_store_config config;
    config.memory_units = 1;
    EXPECT_TRUE(in_memory(*web::make_body_store(65535, config)));
    EXPECT_FALSE(in_memory(*web::make_body_store(65536, config)));
    config.memory_units = 0;
    EXPECT_TRUE(in_memory(*web::make_body_store(0, config)));
    EXPECT_FALSE(in_memory(*web::make_body_store(1, config)));
    config.memory_units = 0xFFFFFFFFU;
    EXPECT_FALSE(in_memory(*web::make_body_store(0xFFFFFFFFFFFFU, config))) << "no product that wraps at 32 bits";
}

TEST(body_store, makes_its_file_in_the_configured_directory)
{
    const test::body_folder folder("body-store");
    web::body_store_config config;
    config.temp_directory = folder.text();
    config.temp_directory.pop_back(); // the trailing separator is optional
    const auto store = web::make_body_store(web::unknown_body_size, config);
    EXPECT_EQ(name_of(*store).substr(0, folder.text().size()), folder.text());
}

TEST(body_store, makes_its_file_in_the_systems_folder_when_none_is_configured)
{
    const auto store = web::make_body_store(web::unknown_body_size, web::body_store_config{});
    const std::wstring directory = web::system_temp_directory();
    EXPECT_EQ(name_of(*store).substr(0, directory.size()), directory);
    EXPECT_EQ(directory, web::with_separator(directory));
}

TEST(body_store, raises_when_the_directory_cannot_hold_a_file)
{
    const test::body_folder folder("body-store");
    web::body_store_config config;
    config.temp_directory = folder.text() + L"missing";
    EXPECT_THROW((void)web::make_body_store(web::unknown_body_size, config), error::win32exception);
}

TEST(body_store_config, is_one_record_for_the_process)
{
    const web::body_store_config& config = web::body_store_configuration();
    EXPECT_EQ(&config, &web::body_store_configuration());
    EXPECT_EQ(config.memory_units, 2U);
    EXPECT_TRUE(config.temp_directory.empty());
    EXPECT_TRUE(config.host_patterns.empty());
}

} // namespace
