#include "outlook/qdmailprotect/com/type_information.h"

#include "outlook/qdmailprotect/com/own_module.h"

HRESULT LoadTypeInformation(REFIID iid, ComPtr<ITypeInfo>& information)
{
    ComPtr<ITypeLib> library;
    const HRESULT result = LoadTypeLibEx(OwnModulePath().c_str(), REGKIND_NONE, Receive(library));
    return FAILED(result) ? result : library->GetTypeInfoOfGuid(iid, Receive(information));
}
