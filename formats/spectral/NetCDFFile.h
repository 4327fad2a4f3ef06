// netCDF files: recognises the template a file was written with and hands the work to the
// reader of that template.
#pragma once

#include <memory>
#include <string>

#include "formats/spectral/SpectrumFile.h"
#include "framework/SprFileFactory.h"
#include "platform/ZmExport.h"

class AndiFileReader;

// One registered format for two kinds of netCDF file: multivariate data (MVACDF, one
// observation per record) and ANDI/AIA chromatograms (one chromatogram per file). The
// first file's global attributes choose the inner reader; mass-spectrometry files and
// files of other templates are refused with a text that says which.
// Codes: 2048 template not importable, 2049 not a netCDF file; others are the inner
// reader's.
class ZMIMPORT_API NetCDFFile : public SpectrumFile {
  public:
    enum ENetCDFTemplate {
        kNotNetCDF = 0,
        kMvaCDF = 1,
        kAndiChromatography = 2,
        kAndiMassSpectrometry = 3,
        kUnknownTemplate = 4,
    };
    enum NetCDFStatus {
        kTemplateNotSupported = 2048,
        kNotNetCDFFile = 2049,
    };

    NetCDFFile();
    ~NetCDFFile() override;

    static ENetCDFTemplate GetFileTemplate(const char* file);
    static bool IsNetCDFFile(const char* file);

    void Close() override;
    void GetErrorMessage(char* buffer, unsigned int bufferSize) override;
    bool GetReadChoices(ReadChoices& choices) override;
    const char* GetFailedFile() override;

    ENetCDFTemplate GetTemplate() const { return template_; }
    // The inner reader; null before a successful choice of template.
    SpreadsheetFile* GetInnerReader() const { return inner_.get(); }

  protected:
    // The chromatogram reader; a host may return a subclass that lets the user choose.
    virtual AndiFileReader* GetAndiFileReader();
    int ReadGeneralNetCDFFile(ReadSpreadSheetData* sink);

  private:
    int EstablishSize() override;
    int OpenFiles(const char* names, ZmImportOpenOptions* options) override;
    int ReadSheet(ReadSpreadSheetData* sink) override { return ReadGeneralNetCDFFile(sink); }

    ENetCDFTemplate template_ = kNotNetCDF;
    std::unique_ptr<SpreadsheetFile> inner_;
};

// Registers the netCDF format. A file of a known template is recognised by content; any
// other netCDF file, or a file with the format's extension, is only plausible, so that the
// format can refuse it with its own text.
class NetCDFFileFactory : public SprFileFactory {
  public:
    NetCDFFileFactory();

  protected:
    MyKindOfFile IsMyKindOfFile(const char* file) override;
    SpreadsheetFile* GetSpreadsheetFile() override;
};
