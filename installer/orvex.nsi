; The installer of the Windows program, built by scripts/package-windows:
;   makensis -DVERSION=x.y.z -DSTAGE=folder -DUNINSTALL_LIST=file -DOUTFILE=setup.exe orvex.nsi
; It installs into Program Files, puts the agent into the Start menu's
; "Sendaro" group and, when the person ticks it, into the start-up group.
; An upgrade keeps the settings and data that are there (Orvex.ini,
; OxDemoras.txt, Movilar.ini); the uninstaller removes what it installed.
Target amd64-unicode ; the program is 64-bit only, and so is this installer
!include "MUI2.nsh"

Name "Orvex"
OutFile "${OUTFILE}"
InstallDir "$PROGRAMFILES64\Sendaro\Orvex"
InstallDirRegKey HKLM "Software\Sendaro\Orvex" "Carpeta"
RequestExecutionLevel admin
SetCompressor /SOLID lzma
BrandingText "Sendaro - Orvex ${VERSION}"

!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Orvex"
!define MUI_ICON "${STAGE}\resources\orvex.ico"
!define MUI_UNICON "${STAGE}\resources\orvex.ico"
!define MUI_ABORTWARNING
!define MUI_WELCOMEPAGE_TEXT "Este asistente instalará Orvex ${VERSION}, el agente que mantiene su instalación conectada con el centro de asistencia.$\r$\n$\r$\nSi Orvex ya está instalado, se actualiza: su configuración (Orvex.ini), sus demoras (OxDemoras.txt) y las carpetas de Movilar (Movilar.ini) se conservan.$\r$\n$\r$\nPresione Siguiente para continuar."
!define MUI_COMPONENTSPAGE_SMALLDESC
!define MUI_FINISHPAGE_RUN "$INSTDIR\orvex.exe"
!define MUI_FINISHPAGE_RUN_TEXT "Iniciar Orvex ahora"

!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "Spanish"

Section "Orvex (necesario)" SecAgent
  SectionIn RO
  SetShellVarContext all
  SetOutPath "$INSTDIR"
  ; The program, its libraries, plug-ins and resources replace older ones.
  File /r /x Orvex.ini "${STAGE}\*.*"
  ; The settings are the installation's own: a sample only where there are none.
  SetOverwrite off
  File "${STAGE}\Orvex.ini"
  SetOverwrite on
  ; The download and work folder: the program uses it but never makes it.
  CreateDirectory "$INSTDIR\Instalables"
  ; The agent writes its settings, delays and downloads in its own folder,
  ; also when a user without administrator rights runs it (Users: modify).
  nsExec::ExecToLog 'icacls "$INSTDIR" /grant *S-1-5-32-545:(OI)(CI)M /T /Q'
  Pop $0
  WriteUninstaller "$INSTDIR\Desinstalar.exe"

  CreateDirectory "$SMPROGRAMS\Sendaro"
  CreateShortCut "$SMPROGRAMS\Sendaro\Orvex.lnk" "$INSTDIR\orvex.exe" "" "$INSTDIR\orvex.exe" 0
  CreateShortCut "$SMPROGRAMS\Sendaro\Desinstalar Orvex.lnk" "$INSTDIR\Desinstalar.exe"

  WriteRegStr HKLM "Software\Sendaro\Orvex" "Carpeta" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "Sendaro - Orvex"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "Lumaris"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\orvex.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\Desinstalar.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\Desinstalar.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
SectionEnd

Section /o "Iniciar Orvex con Windows" SecStartup
  SetShellVarContext all
  SetOutPath "$INSTDIR"
  CreateShortCut "$SMSTARTUP\Orvex.lnk" "$INSTDIR\orvex.exe" "" "$INSTDIR\orvex.exe" 0
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
  !insertmacro MUI_DESCRIPTION_TEXT ${SecAgent} "El agente, su compresor y lo que necesitan para funcionar, con un acceso en el grupo Sendaro del menú Inicio."
  !insertmacro MUI_DESCRIPTION_TEXT ${SecStartup} "Orvex se inicia solo cada vez que se enciende el equipo, para que el centro lo vea en línea."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Section "Uninstall"
  SetShellVarContext all
  Delete "$SMSTARTUP\Orvex.lnk"
  Delete "$SMPROGRAMS\Sendaro\Orvex.lnk"
  Delete "$SMPROGRAMS\Sendaro\Desinstalar Orvex.lnk"
  RMDir "$SMPROGRAMS\Sendaro"
!include "${UNINSTALL_LIST}"
  ; What the program itself fetched to run, or made on its way: the
  ; archiver, the last backup's archive, a restore's download.
  Delete "$INSTDIR\Instalables\pkzip25.exe"
  Delete "$INSTDIR\Instalables\Configuracion.zip"
  Delete "$INSTDIR\Instalables\temp.zip"
  Delete "$INSTDIR\Instalables\.orvex-*"
  RMDir "$INSTDIR\Instalables"
  Delete "$INSTDIR\Desinstalar.exe"
  ; The folder goes when nothing of the installation's own is left in it.
  RMDir "$INSTDIR"
  RMDir "$PROGRAMFILES64\Sendaro"
  DeleteRegKey HKLM "${UNINSTALL_KEY}"
  DeleteRegKey HKLM "Software\Sendaro\Orvex"
  DeleteRegKey /ifempty HKLM "Software\Sendaro"
SectionEnd
