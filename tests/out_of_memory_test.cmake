target_compile_definitions(${name} PRIVATE $<$<BOOL:${VOS_WITH_GB18030}>:VOS_TEST_HAS_GB18030>)
