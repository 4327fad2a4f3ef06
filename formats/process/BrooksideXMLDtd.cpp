// The three FDC document type definitions: the request message includes the FDC
// elements, which include the basic message parts. Elements may come in any order and
// attributes are optional here; the reader itself names what a request must hold.
#include "formats/process/BrooksideXMLDtd.h"

namespace zm::fdc {

namespace {

constexpr std::string_view kBaseDtd = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- Parts shared by every FDC message: the sending system, the logistics of the
     processed material and where the response goes. -->
<!ELEMENT APCSystemName EMPTY>
<!ATTLIST APCSystemName
    ID CDATA #IMPLIED>
<!ELEMENT Logistics EMPTY>
<!ATTLIST Logistics
    FDCModel CDATA #IMPLIED
    RecipeID CDATA #IMPLIED
    ControlJobID CDATA #IMPLIED
    EquipmentID CDATA #IMPLIED
    ToolType CDATA #IMPLIED
    ResourceID CDATA #IMPLIED
    chamberRecipe CDATA #IMPLIED>
<!ELEMENT Response EMPTY>
<!ATTLIST Response
    TopicName CDATA #IMPLIED>
)";

constexpr std::string_view kFdcDtd = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- FDC elements: a trend of wafer datasets with their processing intervals, and the
     raw time series of each dataset. -->
<!ENTITY % base SYSTEM "base.dtd">
%base;
<!ELEMENT Trend (dataset)*>
<!ATTLIST Trend
    Name CDATA #IMPLIED>
<!ELEMENT dataset (Interval)*>
<!ATTLIST dataset
    WaferID CDATA #IMPLIED
    rawDataName CDATA #IMPLIED
    LotID CDATA #IMPLIED
    SlotID CDATA #IMPLIED
    RouteID CDATA #IMPLIED
    ProductID CDATA #IMPLIED
    OperationNumber CDATA #IMPLIED
    OperationName CDATA #IMPLIED
    OPERATIONPASSCOUNT CDATA #IMPLIED
    PriorityClass CDATA #IMPLIED
    LineCode CDATA #IMPLIED
    JobClass CDATA #IMPLIED
    QualityCode CDATA #IMPLIED>
<!ELEMENT Interval (sumdata | RecipeParameter)*>
<!ATTLIST Interval
    Name CDATA #IMPLIED
    Number CDATA #IMPLIED
    FromRow CDATA #IMPLIED
    ToRow CDATA #IMPLIED
    Duration CDATA #IMPLIED
    StartTime CDATA #IMPLIED>
<!ELEMENT sumdata EMPTY>
<!ATTLIST sumdata
    Name CDATA #IMPLIED
    StatName CDATA #IMPLIED
    Value CDATA #IMPLIED>
<!ELEMENT RecipeParameter EMPTY>
<!ATTLIST RecipeParameter
    Name CDATA #IMPLIED
    Value CDATA #IMPLIED
    ValueLowerLimit CDATA #IMPLIED
    ValueUpperLimit CDATA #IMPLIED
    UseCurrentValueFlag CDATA #IMPLIED>
<!ELEMENT RawData (#PCDATA)>
<!ATTLIST RawData
    Name CDATA #IMPLIED>
)";

constexpr std::string_view kFdcRequestDtd = R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- The FDC request: one message of a tool with its trend data. -->
<!ENTITY % FDC SYSTEM "FDC.dtd">
%FDC;
<!ELEMENT FDCRequest (APCSystemName | Logistics | Trend | RawData | Response)*>
<!ATTLIST FDCRequest
    MessageSequenceIdentifier CDATA #IMPLIED>
)";

}  // namespace

std::string_view DocumentTypeDefinition(std::u16string_view systemId) {
    if (systemId == u"FDCRequest.dtd")
        return kFdcRequestDtd;
    if (systemId == u"FDC.dtd")
        return kFdcDtd;
    if (systemId == u"base.dtd")
        return kBaseDtd;
    return {};
}

}  // namespace zm::fdc
