// The one instance of the ini data's template, of the parts that define it.
#include "MIniData_template_core.h"

#include "MIniData_content.h"
#include "MIniData_edit.h"
#include "MIniData_lookup.h"
#include "MIniData_parser.h"
#include "MIniData_section.h"

template class MIniDataSectionT<MIniDataCaseSensitiveCompare>;
template class MIniDataT<MIniDataCaseSensitiveCompare>;
