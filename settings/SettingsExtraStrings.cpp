// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SettingsExtraStrings.h"

#include <array>

namespace SettingsExtraStrings {

namespace {

using Row = std::array<const char *, 3>; // in the order of Key

const Row &row(AppLanguage language)
{
    static const std::array<Row, 14> rows{{
        {"Sign-in is not available: this build has no web service configured.", "Choose Applications",
         "Search applications"},
        {"サインインは利用できません。このビルドにはウェブサービスが設定されていません。", "アプリケーションを選択",
         "アプリケーションを検索"},
        {"로그인을 사용할 수 없습니다. 이 빌드에는 웹 서비스가 설정되어 있지 않습니다.", "응용 프로그램 선택",
         "응용 프로그램 검색"},
        {"无法登录：此版本未配置网络服务。", "选择应用程序", "搜索应用程序"},
        {"無法登入：此版本未設定網路服務。", "選擇應用程式", "搜尋應用程式"},
        {"Anmelden ist nicht verfügbar: Für diesen Build ist kein Webdienst eingerichtet.", "Programme auswählen",
         "Programme suchen"},
        {"La connexion n’est pas disponible : aucun service web n’est configuré pour cette version.",
         "Choisir des applications", "Rechercher des applications"},
        {"El inicio de sesión no está disponible: esta versión no tiene ningún servicio web configurado.",
         "Elegir aplicaciones", "Buscar aplicaciones"},
        {"O login não está disponível: esta versão não tem um serviço web configurado.", "Escolher aplicativos",
         "Buscar aplicativos"},
        {"Вход недоступен: в этой сборке не настроен веб-сервис.", "Выбор приложений", "Поиск приложений"},
        {"L’accesso non è disponibile: questa build non ha un servizio web configurato.", "Scegli applicazioni",
         "Cerca applicazioni"},
        {"Inloggen is niet beschikbaar: voor deze build is geen webdienst ingesteld.", "Apps kiezen",
         "Apps zoeken"},
        {"Logowanie jest niedostępne: ta wersja nie ma skonfigurowanej usługi sieciowej.", "Wybierz aplikacje",
         "Szukaj aplikacji"},
        {"Oturum açma kullanılamıyor: bu sürümde yapılandırılmış bir web hizmeti yok.", "Uygulamaları Seç",
         "Uygulama ara"},
    }};
    return rows[size_t(language)];
}

} // namespace

QString text(Key key, AppLanguage language) { return QString::fromUtf8(row(language)[size_t(key)]); }

} // namespace SettingsExtraStrings
